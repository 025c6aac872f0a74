// How long a person waits: `npm run bench` prints it. Nothing fails by the clock.
import { addScans, launch } from '../tests/browser.js';
import { serve } from '../tests/serve.js';
import { twelveMegapixels } from '../tests/support.js';

const told = (text, value, aim) => console.log(`${text}: ${Math.round(value)} ms (${aim} is aimed at)`);

const site = await serve();
const context = await launch({ viewport: { width: 1280, height: 800 } });
const page = await context.newPage();
await page.addInitScript(() => {
  window.drawn = [];
  const put = CanvasRenderingContext2D.prototype.putImageData;
  CanvasRenderingContext2D.prototype.putImageData = function (...words) {
    put.apply(this, words);
    if (this.canvas.ariaLabel?.endsWith('after') || this.canvas.getAttribute('aria-label')?.endsWith('after'))
      window.drawn.push(performance.now());
  };
  window.long = [];
  new PerformanceObserver((list) => window.long.push(...list.getEntries().map(({ duration }) => duration))).observe({
    entryTypes: ['longtask'],
  });
  document.addEventListener('change', () => (window.started ??= performance.now()), true);
});
await page.goto(site.address);
await addScans(page, twelveMegapixels());
const first = await page.evaluate(() => window.drawn[0] - window.started);
told('12 megapixels, file to first corrected picture', first, 1500);

await page.getByLabel('Kind of original').selectOption('faded-print');
await page.waitForTimeout(1500);
const waits = [];
for (let i = 1; i <= 15; i++) {
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
const median = waits.sort((a, b) => a - b)[7];
told('slider to preview, median of 15', median, 50);

await page.evaluate(() => (window.long = []));
const start = Date.now();
await Promise.all([page.waitForEvent('download'), page.getByRole('button', { name: 'Save picture' }).click()]);
console.log(`saved at full size: ${Date.now() - start} ms`);
told('longest freeze meanwhile', Math.max(0, ...(await page.evaluate(() => window.long))), 100);

await context.close();
site.close();
