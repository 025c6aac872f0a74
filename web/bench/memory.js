// What a scan of 100 megapixels and 16 bits takes, 600 MB as a file: `npm run bench` prints it.
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { launch, addScans } from '../tests/browser.js';
import { serve } from '../tests/serve.js';
import { run, samples, temporary } from '../tests/support.js';

/** Of all processes below this one, in MB; what they share is counted once. */
function memory() {
  const parents = new Map();
  for (const id of readdirSync('/proc').filter((name) => /^\d+$/.test(name))) {
    try {
      parents.set(id, readFileSync(`/proc/${id}/stat`, 'utf8').replace(/^.*\) \S+ (\d+).*$/s, '$1'));
    } catch {
      // it ended
    }
  }
  const isBelow = (id) => parents.has(id) && (parents.get(id) === String(process.pid) || isBelow(parents.get(id)));
  let sum = 0;
  for (const id of parents.keys()) {
    try {
      if (isBelow(id)) sum += Number(/^Pss:\s+(\d+)/m.exec(readFileSync(`/proc/${id}/smaps_rollup`, 'utf8'))[1]) / 1024;
    } catch {
      // likewise
    }
  }
  return sum;
}

async function measured(text, act) {
  let most = 0;
  const timer = setInterval(() => (most = Math.max(most, memory())), 250);
  const start = Date.now();
  await act();
  clearInterval(timer);
  console.log(`${text}: ${Math.round((Date.now() - start) / 1000)} s, ${(most / 1000).toFixed(1)} GB at most`);
}

const made = (name) => join(temporary, name);
run('vips', 'thumbnail', join(samples, 'print-faded.jpg'), made('b.v'), '12247', '--height', '8165', '--size', 'force');
run('vips', 'gaussnoise', made('noise.v'), '12247', '8165', '--sigma', '300');
run('vips', 'linear', made('b.v'), made('deep.v'), '257', '0');
run('vips', 'add', made('deep.v'), made('noise.v'), made('noisy.v'));
run('vips', 'cast', made('noisy.v'), made('cast.v'), 'ushort');
run('vips', 'copy', made('cast.v'), made('large.tif'), '--interpretation', 'rgb16');

const site = await serve();
const context = await launch({ viewport: { width: 1280, height: 800 } });
const page = await context.newPage();
page.setDefaultTimeout(300_000);
await page.goto(site.address);
await measured('100 megapixels of 16 bits, opened', async () => {
  await addScans(page, made('large.tif'));
  await page.waitForSelector('canvas[aria-label$="after"]');
});
for (const [format, text] of [
  ['same', 'TIFF'],
  ['png', 'PNG'],
  ['jpeg', 'JPEG'],
]) {
  await page.getByLabel('Save as').selectOption(format);
  await measured(`saved as ${text}`, () =>
    Promise.all([page.waitForEvent('download'), page.getByRole('button', { name: 'Save picture' }).click()]),
  );
}
await context.close();
site.close();
