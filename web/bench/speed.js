// How long a person waits: `npm run bench` prints it. Nothing fails by the clock.
import { join } from 'node:path';
import { addScans, launch } from '../tests/browser.js';
import { serve } from '../tests/serve.js';
import { run, temporary, twelveMegapixels } from '../tests/support.js';

const MOVES = 15;

/** Beside other work on the machine, the least tells more. */
function told(text, times, aim) {
  const sorted = times.map(Math.round).sort((a, b) => a - b);
  const all = sorted.length > 1 ? `, ${sorted[0]} at least` : '';
  console.log(`${text}: ${sorted[Math.floor(sorted.length / 2)]} ms${all} (${aim} is aimed at)`);
}

/** Times at which the finished preview was drawn, and of long tasks. */
function watch() {
  window.drawn = [];
  const put = CanvasRenderingContext2D.prototype.putImageData;
  CanvasRenderingContext2D.prototype.putImageData = function (...words) {
    put.apply(this, words);
    if (this.canvas.getAttribute('aria-label')?.endsWith('after')) window.drawn.push(performance.now());
  };
  window.long = [];
  new PerformanceObserver((list) => window.long.push(...list.getEntries().map(({ duration }) => duration))).observe({
    entryTypes: ['longtask'],
  });
  document.addEventListener('change', () => (window.started ??= performance.now()), true);
}

/** Milliseconds from a slider to the preview. */
async function moved(page) {
  const waits = [];
  for (let i = 1; i <= MOVES; i++) {
    waits.push(
      await page.evaluate(
        async (value) => {
          const input = document.querySelector('#exposure');
          const count = window.drawn.length;
          const start = performance.now();
          input.value = value;
          input.dispatchEvent(new Event('input', { bubbles: true }));
          while (window.drawn.length === count) await new Promise((next) => setTimeout(next));
          return window.drawn[count] - start;
        },
        String(i / 20),
      ),
    );
    await page.waitForTimeout(400); // the verdict is made anew meanwhile
  }
  return waits;
}

const site = await serve();
const context = await launch({ viewport: { width: 1280, height: 800 } });
const scan = twelveMegapixels();
const profiled = join(temporary, 'profiled.jpg');
run('vips', 'copy', scan, `${profiled}[Q=92,profile=p3]`);
for (const [name, file] of [
  ['12 megapixels', scan],
  ['the same with another profile than sRGB', profiled],
]) {
  const page = await context.newPage();
  await page.addInitScript(watch);
  await page.goto(site.address);
  await addScans(page, file);
  told(`${name}, file to first corrected picture`, [await page.evaluate(() => window.drawn[0] - window.started)], 1500);
  await page.getByLabel('Kind of original').selectOption('faded-print');
  await page.waitForTimeout(1500);
  told('slider to preview, in the middle', await moved(page), 50);
  await page.evaluate(() => (window.long = []));
  const start = Date.now();
  await Promise.all([page.waitForEvent('download'), page.getByRole('button', { name: 'Save picture' }).click()]);
  console.log(`saved at full size: ${Date.now() - start} ms`);
  told('longest freeze meanwhile', [Math.max(0, ...(await page.evaluate(() => window.long)))], 100);
  await page.close();
}
await context.close();
site.close();
