// What a scan of 100 megapixels and 16 bits takes, 600 MB as a file: `npm run bench` prints it.
import { rmSync } from 'node:fs';
import { join } from 'node:path';
import { launch, addScans } from '../tests/browser.js';
import { serve } from '../tests/serve.js';
import { run, samples, temporary } from '../tests/support.js';
import { memory, work } from './processes.js';

async function measured(text, act) {
  let most = 0;
  const timer = setInterval(() => (most = Math.max(most, memory())), 250);
  const [start, before] = [Date.now(), work()];
  await act();
  clearInterval(timer);
  const seconds = `${Math.round((Date.now() - start) / 1000)} s, ${Math.round(work() - before)} s of work`;
  console.log(`${text}: ${seconds}, ${(most / 1000).toFixed(1)} GB at most`);
}

const made = (name) => join(temporary, name);
run('vips', 'thumbnail', join(samples, 'print-faded.jpg'), made('b.v'), '12247', '--height', '8165', '--size', 'force');
run('vips', 'gaussnoise', made('noise.v'), '12247', '8165', '--sigma', '300');
run('vips', 'linear', made('b.v'), made('deep.v'), '257', '0');
run('vips', 'add', made('deep.v'), made('noise.v'), made('noisy.v'));
run('vips', 'cast', made('noisy.v'), made('cast.v'), 'ushort');
const packing = '[compression=lzw,predictor=horizontal]';
run('vips', 'copy', made('cast.v'), made('plain.tif'), '--interpretation', 'rgb16');
run('vips', 'copy', made('cast.v'), `${made('packed.tif')}${packing}`, '--interpretation', 'rgb16');
for (const name of ['b', 'noise', 'deep', 'noisy', 'cast']) rmSync(made(`${name}.v`));

const site = await serve();
for (const [name, formats] of [
  ['plain', ['same', 'png', 'jpeg']],
  ['packed', ['same']],
]) {
  const context = await launch({ viewport: { width: 1280, height: 800 } });
  const page = await context.newPage();
  page.setDefaultTimeout(900_000);
  await page.goto(site.address);
  await measured(`100 megapixels of 16 bits, ${name}, opened`, async () => {
    await addScans(page, made(`${name}.tif`));
    await page.waitForSelector('canvas[aria-label$="after"]');
  });
  for (const format of formats) {
    await page.getByLabel('Save as').selectOption(format);
    const saved = format === 'same' ? `${name} TIFF` : format.toUpperCase();
    await measured(`saved as ${saved}`, () =>
      Promise.all([page.waitForEvent('download'), page.getByRole('button', { name: 'Save picture' }).click()]),
    );
  }
  await context.close();
}
site.close();
