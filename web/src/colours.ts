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
  // For each level the step below it, and the part of the way to the next.
  const below = Uint8Array.from({ length: 256 }, (_, v) => Math.min(Math.floor((v * (STEPS - 1)) / 255), STEPS - 2));
  const part = Float32Array.from(
    { length: 256 },
    (_, v) => (v - level(below[v]!)) / (level(below[v]! + 1) - level(below[v]!)),
  );
  const [G, B] = [4 * STEPS, 4 * STEPS * STEPS]; // to the next green and blue
  return (pixels) => {
    for (let i = 0; i < pixels.length; i += 4) {
      const red = pixels[i]!;
      const green = pixels[i + 1]!;
      const blue = pixels[i + 2]!;
      const r = part[red]!;
      const g = part[green]!;
      const b = part[blue]!;
      // Shares of the eight colours around.
      const rg = r * g;
      const rb = r * b;
      const gb = g * b;
      const rgb = rg * b;
      const w0 = 1 - r - g - b + rg + rb + gb - rgb;
      const wr = r - rg - rb + rgb;
      const wg = g - rg - gb + rgb;
      const wb = b - rb - gb + rgb;
      let at = 4 * below[red]! + G * below[green]! + B * below[blue]!;
      for (let c = 0; c < 3; c++, at++) {
        pixels[i + c] =
          w0 * seen[at]! +
          wr * seen[at + 4]! +
          wg * seen[at + G]! +
          wb * seen[at + B]! +
          (rg - rgb) * seen[at + G + 4]! +
          (rb - rgb) * seen[at + B + 4]! +
          (gb - rgb) * seen[at + B + G]! +
          rgb * seen[at + B + G + 4]!;
      }
    }
  };
}

/** Null where the screen shows the values as they are. */
export const coloursOf = (profile: Uint8Array, gray: boolean): Promise<Colours | null> =>
  gray ? ofGray(profile) : ofColours(profile);
