// The parts that are the same in every page, head and style, and those of the reports.
#pragma once

#include <string_view>

// Nothing is fetched, whatever a scan's name or tags hold.
inline constexpr std::string_view kSelfContained =
    "default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'unsafe-inline'";

// Grays without a hue: a tinted surround would change how the pictures look.
inline constexpr std::string_view kStyle = R"(<style>
:root { --ground: #f2f2f2; --card: #fff; --ink: #1d1d1d; --soft: #5c5c5c; --rule: #d4d4d4; }
@media screen and (prefers-color-scheme: dark) {
  :root { --ground: #1c1c1c; --card: #282828; --ink: #e8e8e8; --soft: #ababab; --rule: #444; }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 74rem; padding: 2rem 1.5rem 3rem; background: var(--ground); color: var(--ink);
  font: 1rem/1.5 system-ui, "DejaVu Sans", sans-serif; overflow-wrap: anywhere; }
header { border-bottom: 2px solid var(--ink); padding-bottom: .75rem; }
h1 { font-size: 1.75rem; line-height: 1.2; margin: 0; }
h2 { font-size: 1.3rem; margin: 2.5rem 0 1rem; }
h3 { font-size: 1rem; margin: 2rem 0 .5rem; }
header p, figcaption { color: var(--soft); font-size: .875rem; margin: .25rem 0 0; }
header .verdict { color: var(--ink); font-size: 1.125rem; margin: .5rem 0; }
header .against { font-weight: 700; border-left: .375rem solid var(--ink); padding-left: .75rem; }
nav ul { display: flex; flex-wrap: wrap; gap: .25rem 1.25rem; list-style: none; margin: .75rem 0 0; padding: 0; }
a { color: inherit; }
.pair { display: grid; grid-template-columns: repeat(2, minmax(0, 1fr)); gap: 1.25rem; align-items: start; }
figure { margin: 0; break-inside: avoid; }
figcaption strong { color: var(--ink); }
img { display: block; max-width: 100%; height: auto; }
table { width: 100%; border-collapse: collapse; background: var(--card); border: 1px solid var(--rule);
  font-size: .9375rem; font-variant-numeric: tabular-nums; }
th, td { padding: .375rem .75rem; border-bottom: 1px solid var(--rule); text-align: left; vertical-align: top; }
th { width: 45%; font-weight: 400; color: var(--soft); }
tr { break-inside: avoid; }
.explained { color: var(--soft); font-size: .875rem; margin: .5rem 0 0; }
summary { cursor: pointer; }
.command { display: block; margin-top: .375rem; padding: .375rem .5rem; color: var(--ink); background: var(--card);
  border: 1px solid var(--rule); border-radius: 4px; font: .8125rem/1.4 monospace; white-space: pre-wrap;
  user-select: all; }
.compare { font: inherit; font-size: .875rem; margin: 0 0 .75rem; padding: .25rem .75rem; color: var(--ink);
  background: var(--card); border: 1px solid var(--soft); border-radius: 4px; cursor: pointer; }
@media screen and (max-width: 44rem) {
  body { padding: 1rem .75rem 2rem; }
  .pair { grid-template-columns: minmax(0, 1fr); }
}
@media print {
  :root { --ground: #fff; }
  @page { margin: 15mm; }
  body { padding: 0; max-width: none; font-size: 10pt; }
  h2, h3 { margin: 4mm 0 2mm; }
  th, td { padding: .5mm 2mm; }
  section + section { break-before: page; }
  h2, h3 { break-after: avoid; }
  nav, .compare { display: none; }
}
</style>
)";

inline constexpr std::string_view kReportStyle = R"(<style>
:root { --red: #d0282e; --green: #2f8f49; --blue: #1f3f9e; --neutral: #333; }
@media screen and (prefers-color-scheme: dark) {
  :root { --red: #ff7b78; --green: #6fd08a; --blue: #8fb0ff; --neutral: #d0d0d0; }
}
header .next { color: var(--ink); font-size: 1rem; margin: .5rem 0; }
header details { font-size: .9375rem; margin: .5rem 0; }
section details { margin: 1.25rem 0; }
.commands { margin: .5rem 0; display: grid; grid-template-columns: max-content minmax(0, 1fr); gap: .25rem .75rem; }
.commands dd { margin: 0; }
.commands .command { margin: 0; }
.cut { margin-top: 1.25rem; }
.cut img { max-height: 88vh; width: auto; }
.pictures img, .pictures .under { max-width: min(100%, calc(88vh * var(--width) / var(--height))); }
.pictures .under { position: relative; width: fit-content; }
.pictures .under img { max-width: 100%; }
.frame { position: absolute; inset: 0; width: 100%; height: 100%; pointer-events: none; }
.frame polygon { fill: none; vector-effect: non-scaling-stroke; stroke: #000; stroke-width: 4; }
.frame .light { stroke: #fff; stroke-width: 2; }
.wide { overflow-x: auto; margin-top: .5rem; }
.full { grid-template-columns: repeat(2, max-content); }
.full img { max-width: none; }
.plot svg { display: block; width: 100%; max-width: 40rem; background: var(--card); border: 1px solid var(--rule);
  border-radius: 4px; font-size: 13px; }
.plot text { fill: var(--ink); }
.plot path, .plot polyline { fill: none; stroke-width: 1; }
.plot .grid { stroke: var(--rule); }
.plot .axis { stroke: var(--soft); }
.plot .line { stroke-width: 2; }
.plot .red { stroke: var(--red); }
.plot .green { stroke: var(--green); }
.plot .blue { stroke: var(--blue); }
.plot .neutral { stroke: var(--neutral); }
.plot .line.green { stroke-dasharray: 8 4; }
.plot .line.blue { stroke-dasharray: 2 3; }
.plot .fill { stroke: none; fill-opacity: .2; }
.plot .fill.red { fill: var(--red); }
.plot .fill.green { fill: var(--green); }
.plot .fill.blue { fill: var(--blue); }
.plot .fill.neutral { fill: var(--neutral); }
.clipping { max-width: 40rem; }
.clipping th, .clipping td { width: auto; padding: .25rem .5rem; }
.reasons { margin: .5rem 0 .75rem; padding-left: 1.25rem; }
.evidences { font-size: .875rem; overflow-wrap: break-word; }
.evidences th { width: auto; }
.evidences td { color: var(--soft); }
.evidences td:nth-child(2) { color: var(--ink); white-space: nowrap; }
.readout { font-size: .875rem; font-variant-numeric: tabular-nums; min-height: 3em; margin: .5rem 0 0; }
.readout code { user-select: all; }
@media screen {
  .overlay { grid-template-columns: minmax(0, 1fr); row-gap: .5rem;
    max-width: min(calc(var(--width) * 1px), calc(88vh * var(--width) / var(--height))); }
  .overlay.full { max-width: none; width: calc(var(--width) * 1px); }
  .overlay figure { grid-area: 1 / 1; }
  .overlay img { width: 100%; }
  .overlay .under { width: 100%; }
  .overlay figure + figure img { clip-path: inset(0 0 0 var(--split)); }
  .overlay figure + figure { pointer-events: none; }
  .overlay figure + figure figcaption { text-align: right; }
  .overlay::after { content: ""; grid-area: 1 / 1; align-self: stretch; z-index: 1; width: 2px;
    margin: 0 0 1.5rem calc(var(--split) - 1px); background: #fff; outline: 1px solid #000; pointer-events: none; }
  .overlay input { width: 100%; margin: 0; accent-color: var(--soft); }
}
@media screen and (max-width: 44rem) {
  .evidences th, .evidences td { padding: .25rem .375rem; }
  .evidences td:nth-child(2) { white-space: normal; }
  .commands { grid-template-columns: minmax(0, 1fr); }
}
@media print {
  .pictures img { max-height: 100mm; width: auto; }
  .readout, .pictures input { display: none; }
}
</style>
)";

// Only adds: the slider, without which the pictures stand side by side, and the colours under the pointer. These are
// the file's values: a profile is not applied, as pipettes know none. They come from the page's JPEG, so they are near.
inline constexpr std::string_view kReportScript = R"(<script>
document.querySelectorAll('.pictures').forEach(function (pair) {
  var button = document.createElement('button'), slider = document.createElement('input');
  var readout = document.createElement('p'), images = pair.querySelectorAll('img');
  var scan = pair.dataset.scan.split(' ').map(Number), turn = pair.dataset.turn.split(' ').map(Number);
  var pixels = [], kept = false;
  button.type = 'button';
  button.className = 'compare';
  slider.type = 'range';
  slider.setAttribute('aria-label', 'Border between before (left) and after (right), percent');
  readout.className = 'readout explained';
  readout.setAttribute('aria-live', 'polite');
  readout.textContent = 'Point at the picture to read its colours; click or tap to keep a place, double-click to go on.';
  function show(overlay) {
    pair.classList.toggle('overlay', overlay);
    slider.hidden = !overlay;
    button.textContent = overlay ? 'Show side by side' : 'Compare with a slider';
  }
  slider.addEventListener('input', function () { pair.style.setProperty('--split', slider.value + '%'); });
  button.addEventListener('click', function () { show(!pair.classList.contains('overlay')); });

  function decode(image, i) {
    var text = atob(image.src.split(',')[1]), bytes = Uint8Array.from(text, function (c) { return c.charCodeAt(0); });
    createImageBitmap(new Blob([bytes], { type: 'image/jpeg' }), { colorSpaceConversion: 'none' }).then(function (bitmap) {
      var canvas = document.createElement('canvas');
      canvas.width = bitmap.width;
      canvas.height = bitmap.height;
      var context = canvas.getContext('2d', { willReadFrequently: true });
      context.drawImage(bitmap, 0, 0);
      pixels[i] = context.getImageData(0, 0, canvas.width, canvas.height);
    });
  }
  function value(data, u, v) {
    var x = Math.min(data.width - 1, Math.floor(u * data.width)), y = Math.min(data.height - 1, Math.floor(v * data.height));
    return Array.from(data.data.slice(4 * (y * data.width + x), 4 * (y * data.width + x) + 3)).join(' ');
  }
  function read(event, keep) {
    if (!pixels.length) images.forEach(decode);
    if (!pixels[0] || !pixels[1]) return;
    var box = event.currentTarget.getBoundingClientRect();
    var u = Math.min(1, Math.max(0, (event.clientX - box.left) / box.width));
    var v = Math.min(1, Math.max(0, (event.clientY - box.top) / box.height));
    var p = turn[0] ? v : u, q = turn[0] ? u : v;
    p = turn[1] ? 1 - p : p;
    q = turn[2] ? 1 - q : q;
    var x = scan[0] + Math.min(scan[2] - 1, Math.floor(p * scan[2]));
    var y = scan[1] + Math.min(scan[3] - 1, Math.floor(q * scan[3]));
    var code = document.createElement('code');
    code.textContent = '--gray-pipette ' + x + ',' + y;
    readout.replaceChildren((keep ? 'Kept: ' : '') + 'x ' + x + ', y ' + y + ' on the scan: R G B ' + value(pixels[0], u, v) +
      ' before, ' + value(pixels[1], u, v) + ' after. To make this gray: ', code);
    kept = keep;
  }
  images.forEach(function (image) {
    image.addEventListener('pointerenter', function () { if (!pixels.length) images.forEach(decode); });
    image.addEventListener('pointermove', function (event) { if (!kept) read(event, false); });
    image.addEventListener('click', function (event) { read(event, true); });
    image.addEventListener('dblclick', function () { kept = false; });
  });
  pair.before(button);
  pair.append(slider);
  pair.after(readout);
  show(false);
});
</script>
)";
