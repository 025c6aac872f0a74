// A TIFF that is written strip by strip, page after page: deflate, with differences of neighbours.
import { Parts } from './parts.ts';
import { longs, shorts, TAG, written, type Fields } from './tiff_tags.ts';
import { deflated } from './zlib.ts';

export interface Shape {
  width: number;
  height: number;
  samples: number;
  depth: 1 | 8 | 16;
}

const STRIP_BYTES = 1 << 18;
const LARGEST = 0xffff_ffff;
const DEFLATE = 8;
const DIFFERENCES = 2;
const UNASSOCIATED = 2;

const lineBytes = ({ width, samples, depth }: Shape): number => Math.ceil((width * samples * depth) / 8);

export const stripLines = (shape: Shape): number => Math.max(1, Math.floor(STRIP_BYTES / lineBytes(shape)));

/** Each sample becomes its difference from the one before it, in place. */
function difference(strip: Uint8Array<ArrayBuffer>, { width, samples, depth }: Shape): void {
  if (depth === 1) return;
  const values = depth === 16 ? new Uint16Array(strip.buffer, strip.byteOffset, strip.length / 2) : strip;
  const line = width * samples;
  for (let start = 0; start < values.length; start += line) {
    for (let i = start + line - 1; i >= start + samples; i--) values[i]! -= values[i - samples]!;
  }
}

export class TiffFile {
  private readonly parts = new Parts();
  private size = 8; // behind the head
  private readonly pages: Fields[] = [];

  /** lines: pieces of the page from top to bottom, each of whole strips but the last. */
  async add(shape: Shape, fields: Fields, lines: AsyncIterable<Uint8Array<ArrayBuffer>>): Promise<void> {
    const strip = stripLines(shape) * lineBytes(shape);
    const [offsets, lengths]: number[][] = [[], []];
    for await (const piece of lines) {
      const strips: Uint8Array<ArrayBuffer>[] = [];
      for (let at = 0; at < piece.length; at += strip) strips.push(piece.slice(at, at + strip));
      for (const one of strips) difference(one, shape);
      for (const packed of await Promise.all(strips.map(deflated))) {
        offsets!.push(this.size);
        lengths!.push(packed.length);
        this.put(packed);
      }
    }
    this.pages.push(
      new Map([
        ...fields,
        ...layoutOf(shape),
        [TAG.stripOffsets, longs(...offsets!)],
        [TAG.stripLengths, longs(...lengths!)],
      ]),
    );
  }

  /** Pages point to those behind them: so the last directory is laid first. */
  end(): Blob {
    let next = 0;
    for (const fields of this.pages.reverse()) {
      const { parts, at } = written(fields, this.size, next);
      for (const part of parts) this.put(part);
      next = at;
    }
    const head = new DataView(new ArrayBuffer(8));
    head.setUint32(0, 0x49492a00);
    head.setUint32(4, next, true);
    return new Blob([head, ...this.parts.all()], { type: 'image/tiff' });
  }

  private put(bytes: Uint8Array<ArrayBuffer>): void {
    this.size += bytes.length;
    if (this.size > LARGEST) throw new Error('the result takes more than 4 GB: the program writes it');
    this.parts.put(bytes);
  }
}

function layoutOf(shape: Shape): Fields {
  const { width, height, samples, depth } = shape;
  const fields: Fields = new Map([
    [TAG.width, longs(width)],
    [TAG.height, longs(height)],
    [TAG.bits, shorts(...Array.from({ length: samples }, () => depth))],
    [TAG.compression, shorts(DEFLATE)],
    [TAG.photometric, shorts(samples < 3 ? 1 : 2)],
    [TAG.samples, shorts(samples)],
    [TAG.rowsPerStrip, longs(stripLines(shape))],
    [TAG.planes, shorts(1)],
  ]);
  if (depth > 1) fields.set(TAG.predictor, shorts(DIFFERENCES));
  if (samples % 2 === 0) fields.set(TAG.extraSamples, shorts(UNASSOCIATED));
  return fields;
}
