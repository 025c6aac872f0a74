// Makes the pictures of the docs: npm --prefix web run pictures.
import { join } from 'node:path';
import { addScans, launch } from './browser.js';
import { serve } from './serve.js';
import { root, samples } from './support.js';

const images = join(root, 'docs/images');
const sample = (name) => join(samples, name);

const site = await serve();
const context = await launch({ viewport: { width: 1280, height: 800 } });

async function picture(name, scans, act, colorScheme = 'light') {
  const page = await context.newPage();
  page.faults = [];
  await page.emulateMedia({ colorScheme });
  await page.goto(site.address);
  await addScans(page, ...scans.map(sample));
  await act(page);
  await page.waitForTimeout(1000);
  await page.screenshot({ path: join(images, name), type: 'jpeg', quality: 82 });
  await page.close();
}

const choose = (page, kind) => page.getByLabel('Kind of original').selectOption(kind);

await picture(
  'web.jpg',
  ['strip.jpg', 'print-faded.jpg', 'slide-faded.jpg', 'negative-bw.jpg', 'breviary.jpg'],
  async (page) => {
    await page.locator('.thumb').nth(3).click();
    await choose(page, 'bw-negative');
    await page.locator('.thumb').nth(0).click();
    await page.getByRole('button', { name: 'Corners', exact: true }).click();
    await page.evaluate(() => document.querySelector('.panel').scrollTo(0, 0));
  },
);
await picture(
  'web-side.jpg',
  ['print-faded.jpg', 'plate.jpg'],
  (page) => page.getByRole('button', { name: 'Side by side' }).click(),
  'dark',
);

await context.close();
site.close();
