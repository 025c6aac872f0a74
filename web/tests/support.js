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

/** A TIFF of these pages, { width, height, bits, samples, data }; reduced: another page made small. Plain, or said to be packed. */
export function tiffOf(pages) {
  const parts = [Buffer.from([0x49, 0x49, 42, 0, 0, 0, 0, 0])];
  let size = 8;
  let link = parts[0].subarray(4); // what points to the next page
  for (const { width, height, bits, samples, data, reduced, compression = 1 } of pages) {
    const fields = [
      [254, 4, reduced ? 1 : 0],
      [256, 4, width],
      [257, 4, height],
      [258, 3, bits],
      [259, 3, compression],
      [262, 3, samples === 3 ? 2 : 1],
      [273, 4, size],
      [277, 3, samples],
      [278, 4, height],
      [279, 4, data.length],
    ];
    const directory = Buffer.alloc(2 + 12 * fields.length + 4 + 6);
    const at = size + data.length;
    directory.writeUInt16LE(fields.length);
    fields.forEach(([tag, type, value], i) => {
      const place = 2 + 12 * i;
      directory.writeUInt16LE(tag, place);
      directory.writeUInt16LE(type, place + 2);
      directory.writeUInt32LE(1, place + 4);
      directory.writeUInt32LE(value, place + 8);
      if (tag !== 258 || samples === 1) return;
      directory.writeUInt32LE(3, place + 4); // three numbers of bits, behind the directory
      directory.writeUInt32LE(at + directory.length - 6, place + 8);
      for (let c = 0; c < 3; c++) directory.writeUInt16LE(bits, directory.length - 6 + 2 * c);
    });
    link.writeUInt32LE(at);
    link = directory.subarray(2 + 12 * fields.length);
    parts.push(Buffer.from(data), directory);
    size += data.length + directory.length;
  }
  return Buffer.concat(parts);
}
