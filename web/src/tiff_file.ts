// A TIFF that is written strip by strip, page after page: plain, or by deflate with differences of neighbours.
import { Packers } from './packers.ts';
import { Parts } from './parts.ts';
import { longs, shorts, TAG, written, type Fields } from './tiff_tags.ts';

export interface Shape {
  width: number;
  height: number;
  samples: number;
  depth: 1 | 8 | 16;
  packed: boolean;
}

const STRIP_BYTES = 1 << 18;
const LARGEST = 0xffff_ffff;
const PLAIN = 1;
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

/** What is made of each; the next one is begun before that of the last is done. */
async function* aheadByOne<From, To>(all: AsyncIterable<From>, make: (one: From) => Promise<To>): AsyncGenerator<To> {
  let before: Promise<To> | null = null;
  for await (const one of all) {
    const made = make(one);
    if (before) yield await before;
    before = made;
  }
  if (before) yield await before;
}

/** To be closed. */
export class TiffFile {
  private readonly packers = new Packers();
  private readonly parts = new Parts();
  private size = 8; // behind the head
  private readonly pages: Fields[] = [];

  /** lines: pieces of the page from top to bottom, each of whole strips but the last. */
  async add(shape: Shape, fields: Fields, lines: AsyncIterable<Uint8Array<ArrayBuffer>>): Promise<void> {
    const [offsets, lengths]: number[][] = [[], []];
    for await (const strips of aheadByOne(lines, (piece) => this.stripsOf(piece, shape))) {
      for (const strip of strips) {
        offsets!.push(this.size);
        lengths!.push(strip.length);
        this.put(strip);
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

  private stripsOf(piece: Uint8Array<ArrayBuffer>, shape: Shape): Promise<Uint8Array<ArrayBuffer>[]> {
    const bytes = stripLines(shape) * lineBytes(shape);
    const strips: Uint8Array<ArrayBuffer>[] = [];
    for (let at = 0; at < piece.length; at += bytes) strips.push(piece.slice(at, at + bytes));
    if (!shape.packed) return Promise.resolve(strips);
    for (const strip of strips) difference(strip, shape);
    return Promise.all(strips.map((strip) => this.packers.pack(strip)));
  }

  close(): void {
    this.packers.close();
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
    [TAG.compression, shorts(shape.packed ? DEFLATE : PLAIN)],
    [TAG.photometric, shorts(samples < 3 ? 1 : 2)],
    [TAG.samples, shorts(samples)],
    [TAG.rowsPerStrip, longs(stripLines(shape))],
    [TAG.planes, shorts(1)],
  ]);
  if (shape.packed && depth > 1) fields.set(TAG.predictor, shorts(DIFFERENCES));
  if (samples % 2 === 0) fields.set(TAG.extraSamples, shorts(UNASSOCIATED));
  return fields;
}
