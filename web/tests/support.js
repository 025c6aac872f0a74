// What tests share: folders, the program, plain pictures.
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

export const root = fileURLToPath(new URL('../..', import.meta.url));
export const samples = join(root, 'samples');
export const program = process.env.ZEP3 ?? join(root, 'build/release/zep3');
export const temporary = mkdtempSync(join(tmpdir(), 'zep3-web-'));

export const run = (command, ...words) => execFileSync(command, words, { maxBuffer: 1 << 28, encoding: 'utf8' });
export const zep3 = (...words) => run(program, ...words);

/** The pixels of a picture, R G B of 8 or 16 bits, by libvips. */
export function pixelsOf(picture) {
  const plain = join(temporary, 'plain.ppm');
  run('vips', 'copy', picture, plain);
  const bytes = readFileSync(plain);
  const head = /^P([56])\s(?:#.*\s)*(\d+)\s+(\d+)\s+(\d+)\s/.exec(bytes.subarray(0, 200).toString('latin1'));
  if (!head) throw new Error(`${picture}: no plain picture came out`);
  const depth = Number(head[4]) > 255 ? 16 : 8;
  const pixels = Uint8Array.from(bytes.subarray(head[0].length));
  if (depth === 16) Buffer.from(pixels.buffer).swap16();
  return { width: Number(head[2]), height: Number(head[3]), format: head[1] === '6' ? 'rgb' : 'gray', depth, pixels };
}

/** Entries in which two lists differ, by how much at most, and on the mean of all. */
export function differences(a, b) {
  if (a.length !== b.length) throw new Error(`${a.length} against ${b.length} values`);
  let count = 0;
  let most = 0;
  let sum = 0;
  for (let i = 0; i < a.length; i++) {
    const step = Math.abs(a[i] - b[i]);
    if (step > 0) count++;
    most = Math.max(most, step);
    sum += step;
  }
  return { count, most, mean: sum / a.length };
}

/** A JPEG of 12 megapixels. */
export function twelveMegapixels() {
  const scan = join(temporary, 'twelve.jpg');
  const from = join(samples, 'print-faded.jpg');
  run('vips', 'thumbnail', from, `${scan}[Q=92]`, '4246', '--height', '2826', '--size', 'force');
  return scan;
}
