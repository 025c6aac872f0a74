// How much a person loads.
import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';
import { brotliCompressSync, gzipSync } from 'node:zlib';
import { root } from './support.js';

const PAGE_BYTES = 30_000; // compressed by gzip: what is loaded before there is a scan
const ALL_BYTES = 200_000; // with engine, worker and plot

test('the page is small', () => {
  const dist = join(root, 'web/dist');
  const assets = readdirSync(join(dist, 'assets')).map((name) => `assets/${name}`);
  const sizes = ['index.html', 'zep3.wasm', ...assets].map((name) => {
    const bytes = readFileSync(join(dist, name));
    return { name, gzip: gzipSync(bytes, { level: 9 }).length, brotli: brotliCompressSync(bytes).length };
  });
  const total = (list, by) => list.reduce((sum, size) => sum + size[by], 0);
  const first = sizes.filter(({ name }) => /^index|assets\/index/.test(name));
  console.log(`before a scan: ${total(first, 'gzip')} bytes by gzip, ${total(first, 'brotli')} by Brotli`);
  console.log(`with the first scan: ${total(sizes, 'gzip')} bytes by gzip, ${total(sizes, 'brotli')} by Brotli`);
  assert.ok(total(first, 'gzip') <= PAGE_BYTES);
  assert.ok(total(sizes, 'gzip') <= ALL_BYTES);
});
