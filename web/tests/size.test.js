// How much a person loads.
import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';
import { brotliCompressSync, gzipSync } from 'node:zlib';
import { root } from './support.js';

const PAGE_BYTES = 30_000; // by gzip: what is loaded before there is a scan
const FIRST_BYTES = 120_000; // by Brotli: with worker and engine, to the first picture of a positive

test('the page is small', () => {
  const dist = join(root, 'web/dist');
  const assets = readdirSync(join(dist, 'assets')).map((name) => `assets/${name}`);
  const of = (pattern) =>
    ['index.html', 'zep3.wasm', ...assets]
      .filter((name) => pattern.test(name))
      .map((name) => readFileSync(join(dist, name)))
      .map((bytes) => ({ gzip: gzipSync(bytes, { level: 9 }).length, brotli: brotliCompressSync(bytes).length }));
  const total = (list, by) => list.reduce((sum, size) => sum + size[by], 0);
  const page = of(/index/);
  const first = of(/index|worker|zep3/);
  assert.equal(first.length, 5);
  console.log(`before a scan: ${total(page, 'gzip')} bytes by gzip, ${total(page, 'brotli')} by Brotli`);
  const plot = of(/uPlot.*js$/);
  assert.equal(plot.length, 1);
  console.log(`the plot of the curves, after the first picture: ${total(plot, 'brotli')} by Brotli`);
  console.log(`with the first picture: ${total(first, 'gzip')} bytes by gzip, ${total(first, 'brotli')} by Brotli`);
  assert.ok(total(page, 'gzip') <= PAGE_BYTES);
  assert.ok(total(first, 'brotli') <= FIRST_BYTES);
});
