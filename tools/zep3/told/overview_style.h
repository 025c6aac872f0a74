// Style and script of the overview of a run.
#pragma once

#include <string_view>

// Its pictures, data and reports lie beside it, as files or on a server of the user's own; nothing else is fetched.
inline constexpr std::string_view kOverviewPolicy =
    "default-src 'none'; img-src 'self' file: data:; frame-src 'self' file:; style-src 'unsafe-inline'; "
    "script-src 'self' file: 'unsafe-inline'";

inline constexpr std::string_view kOverviewStyle = R"(<style>
:root { --ground: #8a8a8a; --card: #9a9a9a; --ink: #111; --soft: #2a2a2a; --rule: #757575; }
@media screen and (prefers-color-scheme: dark) {
  :root { --ground: #262626; --card: #333; --ink: #eaeaea; --soft: #b4b4b4; --rule: #4c4c4c; }
}
body { max-width: none; }
header details { color: var(--soft); font-size: .875rem; margin-top: .25rem; }
.cards { display: grid; grid-template-columns: repeat(auto-fill, minmax(17rem, 1fr)); gap: 1.25rem 1rem; margin: 1rem 0; }
.card { padding: .375rem; border: 2px solid transparent; border-radius: 4px; min-width: 0; content-visibility: auto;
  contain-intrinsic-size: auto 17rem auto 15rem; }
.card h3 { font-size: .875rem; margin: .375rem 0 0; font-weight: 600; overflow: hidden; text-overflow: ellipsis;
  white-space: nowrap; }
.card p { font-size: .8125rem; line-height: 1.35; margin: .125rem 0 0; color: var(--soft); }
.card p strong { font-weight: 400; }
.failed p strong, .none p strong, .look p strong { font-weight: 700; color: var(--ink); }
.said { display: -webkit-box; -webkit-line-clamp: 3; -webkit-box-orient: vertical; overflow: hidden; }
.shot { height: 9.5rem; display: grid; place-items: center; }
.shot a { display: grid; place-items: center; height: 9.5rem; width: 100%; }
.shot img { max-width: 100%; max-height: 9.5rem; width: auto; height: auto; }
.shot span { font-size: .8125rem; color: var(--soft); border: 1px dashed var(--soft); padding: 1.5rem; }
.pages { display: flex; flex-wrap: wrap; gap: .25rem .75rem; margin: 1rem 0; }
.tools { position: sticky; top: 0; z-index: 2; display: flex; flex-wrap: wrap; gap: .375rem .5rem; align-items: center;
  padding: .5rem 0; background: var(--ground); border-bottom: 1px solid var(--rule); font-size: .875rem; }
.tools select, .tools input[type=search] { max-width: 14rem; min-width: 0; }
.tools select, .tools input, .tools button, .card button, .large button { font: inherit; color: var(--ink);
  background: var(--card); border: 1px solid var(--rule); border-radius: 4px; padding: .1875rem .5rem; }
.tools button, .card button, .large button { cursor: pointer; }
.hint { color: var(--soft); font-size: .8125rem; margin: .5rem 0 0; }
.hint code { user-select: all; }
.card button { font-size: .8125rem; margin-top: .25rem; }
.marked { border-color: var(--ink); background: var(--card); }
.card:focus { outline: 3px solid var(--ink); outline-offset: 2px; }
.large { position: fixed; inset: 0; z-index: 5; background: var(--ground); display: flex; flex-direction: column; }
.large[hidden] { display: none; }
.large .bar { display: flex; flex-wrap: wrap; gap: .5rem; align-items: center; padding: .375rem .75rem; font-size: .875rem; }
.large .bar span { flex: 1 1 12rem; min-width: 0; }
.large iframe { flex: 1; border: 0; width: 100%; background: var(--ground); }
.large .only { flex: 1; min-height: 0; display: grid; place-items: center; padding: .5rem; }
.large .only img { max-width: 100%; max-height: 100%; object-fit: contain; }
@media screen and (max-width: 44rem) {
  .tools { position: static; }
  .cards { grid-template-columns: minmax(0, 1fr); }
}
@media print { .tools, .pages, .card button { display: none; } }
</style>
)";

// Only adds: without it the pages list every scan.
inline constexpr std::string_view kOverviewScript = R"(<script>
addEventListener('DOMContentLoaded', function () {
  var data = window.zep3Overview, main = document.querySelector('main'), size = Number(main.dataset.size);
  if (!data) return;
  var STATE = 0, KIND = 1, FOLDER = 2, NAME = 3, SAID = 4, CARD = 5;
  var scans = data.scans, shown = scans, page = Number(main.dataset.page), current = -1;
  var cards = main.querySelector('.cards'), key = 'zep3-marks:' + location.pathname.replace(/[^/]*$/, '');
  var marks = new Set();
  try { marks = new Set(JSON.parse(localStorage.getItem(key) || '[]')); } catch (e) { /* none are kept */ }
  main.querySelectorAll('.pages').forEach(function (nav) { nav.remove(); });

  function make(tag, set, children) {
    var element = Object.assign(document.createElement(tag), set || {});
    (children || []).forEach(function (child) { element.append(child); });
    return element;
  }
  // Names that hold bytes of no text are not known to the page.
  function markable(scan) { return scan[NAME].indexOf('\ufffd') < 0 && scan[NAME] !== '-'; }
  function keep() {
    try { localStorage.setItem(key, JSON.stringify(Array.from(marks))); } catch (e) { /* they last as long as the page */ }
  }
  function choice(label, index, words) {
    var counts = new Map(), select = make('select', { ariaLabel: label });
    scans.forEach(function (scan) { counts.set(scan[index], (counts.get(scan[index]) || 0) + 1); });
    select.append(make('option', { value: '*', textContent: label + ': all' }));
    (words || Array.from(counts.keys()).sort().map(function (name) { return [name, name || '–']; })).forEach(function (word) {
      if (counts.has(word[0])) select.append(make('option', { value: word[0], textContent: word[1] + ' (' + counts.get(word[0]) + ')' }));
    });
    select.addEventListener('change', filter);
    return select;
  }
  var verdict = choice('Verdict', STATE, data.states), kind = choice('Kind', KIND), folder = choice('Folder', FOLDER);
  var text = make('input', { type: 'search', placeholder: 'Name or reason', ariaLabel: 'Name or reason' });
  var sort = make('select', { ariaLabel: 'Order' });
  [['', 'Worst first'], [NAME, 'By name'], [FOLDER, 'By folder'], [KIND, 'By kind']].forEach(function (word) {
    sort.append(make('option', { value: word[0], textContent: word[1] }));
  });
  var only = make('input', { type: 'checkbox' }), count = make('span', { ariaLive: 'polite' });
  var back = make('button', { type: 'button', textContent: '‹' , ariaLabel: 'Page before' });
  var next = make('button', { type: 'button', textContent: '›', ariaLabel: 'Next page' });
  var save = make('button', { type: 'button' }), clear = make('button', { type: 'button', textContent: 'Clear marks' });
  var full = make('button', { type: 'button', textContent: 'Full size (f)' });
  var hint = make('p', { className: 'hint' }, ['Keys: arrows go from scan to scan, f or Enter shows it in full size, m marks it, Escape closes. ']);
  main.prepend(make('div', { className: 'tools' }, [verdict, kind, folder, text, sort,
    make('label', {}, [only, ' marked only']), back, count, next, full, save, clear]), hint);
  var how = make('span');
  hint.append(how);
  text.addEventListener('input', filter);
  sort.addEventListener('change', filter);
  only.addEventListener('change', filter);
  back.addEventListener('click', function () { turn(-1); });
  next.addEventListener('click', function () { turn(1); });
  full.addEventListener('click', function () { select(Math.max(0, current)); enlarge(); });
  clear.addEventListener('click', function () {
    if (!marks.size || !confirm('Take the marks from ' + marks.size + ' scans?')) return;
    marks.clear();
    keep();
    render();
  });
  save.addEventListener('click', function () {
    var names = scans.filter(function (scan) { return marks.has(scan[NAME]); }).map(function (scan) { return scan[NAME]; });
    var end = ended(names) ? '\0' : '\n';
    var link = make('a', { download: 'marked.txt', href: URL.createObjectURL(new Blob([names.map(function (name) { return name + end; }).join('')], { type: 'text/plain' })) });
    link.click();
    setTimeout(function () { URL.revokeObjectURL(link.href); }, 1000);
  });
  // A name that holds the end of a line needs another end.
  function ended(names) { return names.some(function (name) { return name.indexOf('\n') >= 0; }); }

  function filter() {
    var words = text.value.toLowerCase().split(/\s+/).filter(Boolean);
    shown = scans.filter(function (scan) {
      if (verdict.value !== '*' && scan[STATE] !== verdict.value) return false;
      if (kind.value !== '*' && scan[KIND] !== kind.value) return false;
      if (folder.value !== '*' && scan[FOLDER] !== folder.value) return false;
      if (only.checked && !marks.has(scan[NAME])) return false;
      if (!words.length) return true;
      var all = (scan[NAME] + ' ' + scan[SAID]).toLowerCase();
      return words.every(function (word) { return all.indexOf(word) >= 0; });
    });
    if (sort.value !== '') {
      var by = Number(sort.value);
      shown.sort(function (a, b) { return a[by] < b[by] ? -1 : a[by] > b[by] ? 1 : a[NAME] < b[NAME] ? -1 : a[NAME] > b[NAME] ? 1 : 0; });
    }
    page = 0;
    current = -1;
    render();
  }
  function tellMarks() {
    save.textContent = 'Download list (' + marks.size + ')';
    save.disabled = clear.disabled = !marks.size;
    how.replaceChildren();
    if (!marks.size) return;
    var zero = ended(Array.from(marks)) ? '-0 ' : '';
    how.append(data.startedIn ? 'The list holds the names as the run was given them: take it in the folder where that was started, ' : 'The list holds names from the root: take it anywhere, ',
      make('code', { textContent: (data.startedIn ? 'cd ' + quoted(data.startedIn) + ' && ' : '') + 'zep3 ' + zero + '--files-from ~/Downloads/marked.txt -k KIND -o OUT --overwrite' }));
  }
  function quoted(word) { return /^[\w@%+=:,.\/-]+$/.test(word) ? word : "'" + word.replace(/'/g, "'\\''") + "'"; }
  function render() {
    var pages = Math.max(1, Math.ceil(shown.length / size));
    page = Math.min(Math.max(page, 0), pages - 1);
    var from = page * size, list = shown.slice(from, from + size);
    cards.innerHTML = list.map(function (scan) { return scan[CARD]; }).join('');
    Array.from(cards.children).forEach(function (card, i) {
      var scan = list[i];
      card.tabIndex = -1;
      if (markable(scan)) {
        var button = make('button', { type: 'button' });
        button.addEventListener('click', function () { select(from + i); mark(); });
        card.append(button);
      }
      card.addEventListener('pointerdown', function () { current = from + i; });
      tell(card, scan);
    });
    count.textContent = shown.length ? (from + 1) + '–' + (from + list.length) + ' of ' + shown.length : 'no scan';
    back.disabled = page === 0;
    next.disabled = page === pages - 1;
    tellMarks();
  }
  function tell(card, scan) {
    var marked = marks.has(scan[NAME]), button = card.querySelector('button');
    card.classList.toggle('marked', marked);
    if (button) {
      button.textContent = marked ? 'Marked' : 'Mark';
      button.setAttribute('aria-pressed', marked);
    }
  }
  function turn(step) {
    page += step;
    current = -1;
    render();
    main.scrollIntoView();
  }
  function cardOf(index) { return cards.children[index - page * size]; }
  function select(index) {
    if (!shown.length) return;
    current = Math.min(Math.max(index, 0), shown.length - 1);
    if (Math.floor(current / size) !== page) {
      page = Math.floor(current / size);
      render();
    }
    if (large.hidden) cardOf(current).focus();
    cardOf(current).scrollIntoView({ block: 'nearest' });
    if (!large.hidden) enlarge();
  }
  function mark() {
    var scan = shown[current];
    if (!scan || !markable(scan)) return;
    if (!marks.delete(scan[NAME])) marks.add(scan[NAME]);
    keep();
    tell(cardOf(current), scan);
    tellMarks();
    if (!large.hidden) title.textContent = titleOf(scan);
  }

  var title = make('span'), place = make('div', { className: 'only' });
  var large = make('div', { className: 'large', hidden: true }, [make('div', { className: 'bar' }, [
    make('button', { type: 'button', textContent: '‹', ariaLabel: 'Scan before', onclick: function () { select(current - 1); } }),
    make('button', { type: 'button', textContent: '›', ariaLabel: 'Next scan', onclick: function () { select(current + 1); } }),
    title,
    make('button', { type: 'button', textContent: 'Mark (m)', onclick: mark }),
    make('button', { type: 'button', textContent: 'Close (Esc)', onclick: close })]), place]);
  document.body.append(large);
  function titleOf(scan) { return (current + 1) + ' of ' + shown.length + ' · ' + scan[NAME] + (marks.has(scan[NAME]) ? ' · marked' : ''); }
  // The report where there is one, else the result where browsers show its format, else the thumbnail.
  function enlarge() {
    var card = cardOf(current), link = card.querySelector('.shot a'), small = card.querySelector('.shot img');
    large.hidden = false;
    title.textContent = titleOf(shown[current]);
    place.replaceChildren();
    var address = link ? link.href : '';
    var inside = /\.html$/.test(address) ? make('iframe', { src: address, title: 'Report', tabIndex: -1 })
      : /\.(jpe?g|png|webp)$/i.test(address) ? make('img', { src: address, alt: 'Result' })
      : small ? make('img', { src: small.src, alt: small.alt }) : make('p', { textContent: shown[current][SAID] || 'no picture' });
    if (inside.tagName === 'IFRAME') inside.style.cssText = 'width:100%;height:100%';
    place.append(inside);
  }
  function close() {
    large.hidden = true;
    place.replaceChildren();
    if (current >= 0) cardOf(current).focus();
  }
  function columns() {
    var first = cards.children[0], n = 0;
    while (cards.children[n] && cards.children[n].offsetTop === first.offsetTop) n++;
    return Math.max(1, n);
  }
  document.addEventListener('keydown', function (event) {
    if (event.ctrlKey || event.altKey || event.metaKey || /^(INPUT|SELECT|TEXTAREA)$/.test(event.target.tagName)) return;
    var onControl = /^(A|BUTTON|SUMMARY)$/.test(event.target.tagName), step = large.hidden ? columns() : 1;
    var moves = { ArrowLeft: -1, ArrowRight: 1, ArrowUp: -step, ArrowDown: step };
    if (event.key in moves) select(current < 0 ? page * size : current + moves[event.key]);
    else if (event.key === 'm' && current >= 0) mark();
    else if (event.key === 'f' || (event.key === 'Enter' && !onControl)) { if (large.hidden) { select(Math.max(0, current < 0 ? page * size : current)); enlarge(); } else close(); }
    else if (event.key === 'Escape' && !large.hidden) close();
    else return;
    event.preventDefault();
  });
  render();
});
</script>
)";
