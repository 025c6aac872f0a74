// The parts that are the same in every report: head, style and slider.
#pragma once

#include <string_view>

// Nothing is fetched, whatever a scan's name or tags hold.
inline constexpr std::string_view kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy"
  content="default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
)";

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
.cut { margin-top: 1.25rem; }
.cut img { max-height: 88vh; width: auto; }
nav ul { display: flex; flex-wrap: wrap; gap: .25rem 1.25rem; list-style: none; margin: .75rem 0 0; padding: 0; }
a { color: inherit; }
.pair { display: grid; grid-template-columns: repeat(2, minmax(0, 1fr)); gap: 1.25rem; align-items: start; }
figure { margin: 0; break-inside: avoid; }
figcaption strong { color: var(--ink); }
img { display: block; max-width: 100%; height: auto; }
.pictures img { width: auto; max-height: 88vh; }
.plot img { width: 100%; max-width: 40rem; background: #fff; border: 1px solid var(--rule); border-radius: 4px; }
.explained { color: var(--soft); font-size: .875rem; margin: .5rem 0 0; }
table { width: 100%; border-collapse: collapse; background: var(--card); border: 1px solid var(--rule);
  font-size: .9375rem; font-variant-numeric: tabular-nums; }
th, td { padding: .375rem .75rem; border-bottom: 1px solid var(--rule); text-align: left; vertical-align: top; }
th { width: 45%; font-weight: 400; color: var(--soft); }
tr { break-inside: avoid; }
.reasons { margin: .5rem 0 .75rem; padding-left: 1.25rem; }
.evidences { font-size: .875rem; overflow-wrap: break-word; }
.evidences th { width: auto; }
.evidences td { color: var(--soft); }
.evidences td:nth-child(2) { color: var(--ink); white-space: nowrap; }
.compare { font: inherit; font-size: .875rem; margin: 0 0 .75rem; padding: .25rem .75rem; color: var(--ink);
  background: var(--card); border: 1px solid var(--soft); border-radius: 4px; cursor: pointer; }
@media screen {
  .overlay { grid-template-columns: minmax(0, 1fr); row-gap: .5rem;
    max-width: min(calc(var(--width) * 1px), calc(88vh * var(--width) / var(--height))); }
  .overlay figure { grid-area: 1 / 1; }
  .overlay img { width: 100%; max-height: none; }
  .overlay figure + figure img { clip-path: inset(0 0 0 var(--split)); }
  .overlay figure + figure figcaption { text-align: right; }
  .overlay::after { content: ""; grid-area: 1 / 1; align-self: stretch; z-index: 1; width: 2px;
    margin: 0 0 1.5rem calc(var(--split) - 1px); background: #fff; outline: 1px solid #000; pointer-events: none; }
  .overlay input { width: 100%; margin: 0; accent-color: var(--soft); }
}
@media screen and (max-width: 44rem) {
  body { padding: 1rem .75rem 2rem; }
  .pair { grid-template-columns: minmax(0, 1fr); }
  .evidences th, .evidences td { padding: .25rem .375rem; }
  .evidences td:nth-child(2) { white-space: normal; }
}
@media print {
  :root { --ground: #fff; }
  @page { margin: 15mm; }
  .pictures img { max-height: 100mm; }
  body { padding: 0; max-width: none; font-size: 10pt; }
  h2, h3 { margin: 4mm 0 2mm; }
  th, td { padding: .5mm 2mm; }
  section + section { break-before: page; }
  h2, h3 { break-after: avoid; }
  nav, .compare, .pictures input { display: none; }
}
</style>
)";

// Only adds the slider; without it the pictures stand side by side.
inline constexpr std::string_view kScript = R"(<script>
document.querySelectorAll('.pictures').forEach(function (pair) {
  var button = document.createElement('button'), slider = document.createElement('input');
  button.type = 'button';
  button.className = 'compare';
  slider.type = 'range';
  slider.setAttribute('aria-label', 'Border between before (left) and after (right), percent');
  function show(overlay) {
    pair.classList.toggle('overlay', overlay);
    slider.hidden = !overlay;
    button.textContent = overlay ? 'Show side by side' : 'Compare with a slider';
  }
  slider.addEventListener('input', function () { pair.style.setProperty('--split', slider.value + '%'); });
  button.addEventListener('click', function () { show(!pair.classList.contains('overlay')); });
  pair.before(button);
  pair.append(slider);
  show(false);
});
</script>
)";
