// A scan's values as the screen shows them: what the browser makes of its profile, for a grid of colours, and between.
import { chunkOf, concatenated, profileChunk } from './container.ts';
import { deflated } from './zlib.ts';

/** Changes R G B A in place. */
export type Colours = (pixels: Uint8ClampedArray) => void;

const STEPS = 33; // of each channel
const NOTHING = 2; // levels by which rounding may move a colour of sRGB
const [GRAY, RGB] = [0, 2]; // colours of a PNG

/** A picture of one line for each row of colours, with the profile. */
async function pngOf(values: Uint8Array, width: number, type: number, profile: Uint8Array): Promise<Blob> {
  const line = width * (type === RGB ? 3 : 1);
  const height = values.length / line;
  const rows = new Uint8Array((line + 1) * height); // each begins with its filter: none
  for (let y = 0; y < height; y++) rows.set(values.subarray(y * line, (y + 1) * line), y * (line + 1) + 1);
  const head = new Uint8Array(13);
  const view = new DataView(head.buffer);
  view.setUint32(0, width);
  view.setUint32(4, height);
  head.set([8, type], 8);
  const mark = Uint8Array.of(0x89, 0x50, 0x4e, 0x47, 13, 10, 26, 10);
  const data = chunkOf('IDAT', await deflated(rows));
  const end = chunkOf('IEND', new Uint8Array(0));
  return new Blob([concatenated([mark, chunkOf('IHDR', head), await profileChunk(profile), data, end])]);
}

/** R G B A, as a canvas shows them. */
async function shown(png: Blob): Promise<Uint8ClampedArray> {
  const bitmap = await createImageBitmap(png);
  const context = new OffscreenCanvas(bitmap.width, bitmap.height).getContext('2d')!;
  context.drawImage(bitmap, 0, 0);
  return context.getImageData(0, 0, bitmap.width, bitmap.height).data;
}

const level = (step: number) => Math.round((255 * step) / (STEPS - 1));

function grid(): Uint8Array {
  const values = new Uint8Array(3 * STEPS ** 3);
  for (let i = 0; i < STEPS ** 3; i++) {
    const [red, green, blue] = [i % STEPS, Math.floor(i / STEPS) % STEPS, Math.floor(i / STEPS ** 2)];
    values.set([level(red), level(green), level(blue)], 3 * i);
  }
  return values;
}

const isSame = (values: Uint8Array, samples: number, seen: Uint8ClampedArray): boolean =>
  values.every((value, i) => Math.abs(value - seen[4 * Math.floor(i / samples) + (i % samples)]!) <= NOTHING);

async function ofGray(profile: Uint8Array): Promise<Colours | null> {
  const ramp = Uint8Array.from({ length: 256 }, (_, i) => i);
  const seen = await shown(await pngOf(ramp, 256, GRAY, profile));
  if (isSame(ramp, 1, seen)) return null;
  return (pixels) => {
    for (let i = 0; i < pixels.length; i += 4) pixels.fill(seen[4 * pixels[i]!]!, i, i + 3);
  };
}

async function ofColours(profile: Uint8Array): Promise<Colours | null> {
  const values = grid();
  const seen = await shown(await pngOf(values, STEPS, RGB, profile));
  if (isSame(values, 3, seen)) return null;
  const table = tableOf(seen);
  return (pixels) => table.change(new Uint32Array(pixels.buffer, pixels.byteOffset, pixels.length / 4));
}

// A colour is mixed of four around it, the corners of a tetrahedron: from the step below all channels, along the channel
// that is farthest on its way to the next step, then along the second, then the third. Shares are of WHOLE, so that a
// sum for red fits in 16 bits, and red and blue go in one number.
const WHOLE = 256;
const HALF = 0x0080_0080;
const CORNER_BITS = 11; // strides of the grid

function tableOf(seen: Uint8ClampedArray) {
  const count = STEPS ** 3;
  const redBlue = Int32Array.from({ length: count }, (_, i) => seen[4 * i]! | (seen[4 * i + 2]! << 16));
  const green = Int32Array.from({ length: count }, (_, i) => seen[4 * i + 1]!);
  // Of each level: where the step below it lies, and the way to the next one above the stride there.
  const below = Int32Array.from({ length: 256 }, (_, v) => Math.min(Math.floor((v * (STEPS - 1)) / 255), STEPS - 2));
  const way = below.map((step, v) => Math.round((WHOLE * (v - level(step))) / (level(step + 1) - level(step))));
  const ofStride = (stride: number) => ({
    first: below.map((step) => step * stride),
    next: way.map((part) => (part << CORNER_BITS) | stride),
  });
  const [r, g, b] = [ofStride(1), ofStride(STEPS), ofStride(STEPS * STEPS)];
  const stride = (1 << CORNER_BITS) - 1;

  /** R G B A, from the lowest byte on. */
  function change(pixels: Uint32Array): void {
    for (let i = 0; i < pixels.length; i++) {
      const pixel = pixels[i]!;
      const red = pixel & 255;
      const green8 = (pixel >> 8) & 255;
      const blue = (pixel >> 16) & 255;
      const x = r.next[red]!;
      const y = g.next[green8]!;
      const z = b.next[blue]!;
      const low = Math.min(x, y);
      const high = Math.max(x, y);
      const most = Math.max(high, z);
      const middle = Math.max(low, Math.min(high, z));
      const least = Math.min(low, z);
      const at0 = r.first[red]! + g.first[green8]! + b.first[blue]!;
      const at1 = at0 + (most & stride);
      const at2 = at1 + (middle & stride);
      const at3 = at2 + (least & stride);
      const w3 = least >> CORNER_BITS;
      const w2 = (middle >> CORNER_BITS) - w3;
      const w1 = (most >> CORNER_BITS) - w3 - w2;
      const w0 = WHOLE - w1 - w2 - w3;
      const rb =
        Math.imul(w0, redBlue[at0]!) +
        Math.imul(w1, redBlue[at1]!) +
        Math.imul(w2, redBlue[at2]!) +
        Math.imul(w3, redBlue[at3]!) +
        HALF;
      const g16 = w0 * green[at0]! + w1 * green[at1]! + w2 * green[at2]! + w3 * green[at3]! + 128;
      pixels[i] = ((rb >>> 8) & 0x00ff_00ff) | (g16 & 0xff00) | (pixel & 0xff00_0000);
    }
  }
  return { change };
}

/** Null where the screen shows the values as they are. */
export const coloursOf = (profile: Uint8Array, gray: boolean): Promise<Colours | null> =>
  gray ? ofGray(profile) : ofColours(profile);
