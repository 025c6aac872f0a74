// The fields of TIFF directories, which blocks of EXIF are, too: read from one file and laid into another.
import { concatenated } from './container.ts';

export const TAG = {
  reduced: 0x00fe,
  width: 0x0100,
  height: 0x0101,
  bits: 0x0102,
  compression: 0x0103,
  photometric: 0x0106,
  stripOffsets: 0x0111,
  orientation: 0x0112,
  samples: 0x0115,
  rowsPerStrip: 0x0116,
  stripLengths: 0x0117,
  xResolution: 0x011a,
  yResolution: 0x011b,
  planes: 0x011c,
  resolutionUnit: 0x0128,
  pageNumber: 0x0129,
  predictor: 0x013d,
  extraSamples: 0x0152,
  xmp: 0x02bc,
  iptc: 0x83bb,
  profile: 0x8773,
} as const;

const EXIF = 0x8769;
const GPS = 0x8825;
const SUB_DIRECTORIES = [EXIF, GPS];
// Resolution; name of document, description, make, model, name of page, software, time, artist, computer, copyright; Windows' own.
const CARRIED = [
  TAG.xResolution,
  TAG.yResolution,
  TAG.resolutionUnit,
  0x010d,
  0x010e,
  0x010f,
  0x0110,
  0x011d,
  0x0131,
  0x0132,
  0x013b,
  0x013c,
  0x8298,
  0x9c9b,
  0x9c9c,
  0x9c9d,
  0x9c9e,
  0x9c9f,
  ...SUB_DIRECTORIES,
];
// Of a page among others.
const OF_PAGES: number[] = [TAG.reduced, TAG.pageNumber];
const PIXEL_SIZE = [0xa002, 0xa003]; // EXIF's own width and height
const INTEROPERABILITY = 0xa005; // an offset, of which nobody reads what is there
// Bytes of one number of a type, and of rationals, which are two.
const NUMBERS = [0, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4, 4, 8, 4, 0, 0, 8, 8, 8];
const RATIONALS = [5, 10];
const BYTE = 1;
const SHORT = 3;
const LONG = 4;
const RATIONAL = 5;
const MOST = 1 << 20; // bytes of a field; fields of words are shorter

export interface Field {
  type: number;
  count: number;
  /** Little-endian. */
  data: Uint8Array;
  below?: Fields;
}
export type Fields = Map<number, Field>;

const bytesOf = async (part: Blob) => new Uint8Array(await part.arrayBuffer());

const little = (values: number[], width: number) =>
  Uint8Array.from(
    values.flatMap((value) => Array.from({ length: width }, (_, i) => Math.floor(value / 256 ** i) & 255)),
  );

export const shorts = (...values: number[]): Field => ({ type: SHORT, count: values.length, data: little(values, 2) });
export const longs = (...values: number[]): Field => ({ type: LONG, count: values.length, data: little(values, 4) });
export const bytes = (data: Uint8Array): Field => ({ type: BYTE, count: data.length, data });
export const undefinedBytes = (data: Uint8Array): Field => ({ type: 7, count: data.length, data });
/** With three decimals. */
export const rational = (value: number): Field => ({
  type: RATIONAL,
  count: 1,
  data: little([Math.round(1000 * value), 1000], 4),
});

interface Entry {
  tag: number;
  type: number;
  values: number;
  /** Of its data, or of another directory. */
  place: number;
  size: number;
}

/** A TIFF file's numbers, in its own order. */
class Reader {
  private constructor(
    readonly file: Blob,
    readonly little: boolean,
    readonly big: boolean,
    readonly first: number,
  ) {}

  static async of(file: Blob): Promise<Reader | null> {
    const start = await bytesOf(file.slice(0, 16));
    if (start.length < 8) return null;
    const view = new DataView(start.buffer);
    const little = view.getUint16(0) === 0x4949;
    const big = view.getUint16(2, little) === 43;
    const first = big ? Number(view.getBigUint64(8, little)) : view.getUint32(4, little);
    return new Reader(file, little, big, first);
  }

  /** What a directory lists, and where the next one lies; 0: nowhere. */
  private async directory(at: number): Promise<{ entries: Entry[]; next: number }> {
    const { little, big } = this;
    const [head, length, room] = big ? [8, 20, 8] : [2, 12, 4];
    const number = (view: DataView, place: number) =>
      big ? Number(view.getBigUint64(place, little)) : view.getUint32(place, little);
    const top = new DataView((await bytesOf(this.file.slice(at, at + head))).buffer);
    const count = Math.min(big ? Number(top.getBigUint64(0, little)) : top.getUint16(0, little), 4096);
    const end = at + head + count * length;
    const view = new DataView((await bytesOf(this.file.slice(at + head, end + room))).buffer);
    const entries: Entry[] = [];
    for (let i = 0; i + length <= Math.min(count * length, view.byteLength); i += length) {
      const type = view.getUint16(i + 2, little);
      const values = number(view, i + 4);
      const size = (NUMBERS[type] ?? 0) * (RATIONALS.includes(type) ? 2 : 1) * values;
      const value = i + (big ? 12 : 8);
      const tag = view.getUint16(i, little);
      const elsewhere = size > room || SUB_DIRECTORIES.includes(tag);
      entries.push({ tag, type, values, size, place: elsewhere ? number(view, value) : at + head + value });
    }
    return { entries, next: view.byteLength >= count * length + room ? number(view, count * length) : 0 };
  }

  /** What can be read of them: a field that lies outside of the file is left out, and the others stay. */
  async fields(at: number, wanted: (tag: number) => boolean): Promise<Fields> {
    const found: Fields = new Map();
    const { entries } = await this.directory(at).catch(() => ({ entries: [] }));
    for (const { tag, type, values, place, size } of entries) {
      if (!wanted(tag) || size === 0 || size > MOST) continue;
      if (SUB_DIRECTORIES.includes(tag)) {
        const below = await this.fields(place, (each) => each !== INTEROPERABILITY && !SUB_DIRECTORIES.includes(each));
        if (below.size > 0) found.set(tag, { type: LONG, count: 1, data: new Uint8Array(4), below });
        continue;
      }
      const data = await bytesOf(this.file.slice(place, place + size));
      if (data.length < size) continue;
      if (!this.little) swap(data, NUMBERS[type]!);
      found.set(tag, { type, count: values, data });
    }
    return found;
  }

  /** Where the directories of all pages lie. */
  async places(): Promise<number[]> {
    const places: number[] = [];
    for (let at = this.first; at !== 0 && !places.includes(at);) {
      const { next } = await this.directory(at).catch(() => ({ next: 0 }));
      places.push(at);
      at = next;
    }
    return places;
  }
}

function swap(data: Uint8Array, width: number): void {
  for (let i = 0; width > 1 && i + width <= data.length; i += width) data.subarray(i, i + width).reverse();
}

export interface Directory {
  place: number;
  /** Its page is another one made small. */
  reduced: boolean;
  packed: boolean;
}

/** Of all pages of a TIFF. */
export async function directoriesOf(file: Blob): Promise<Directory[]> {
  const reader = await Reader.of(file);
  if (!reader) return [];
  const found: Directory[] = [];
  for (const place of await reader.places()) {
    const fields = await reader.fields(place, (tag) => tag === TAG.reduced || tag === TAG.compression);
    const first = (tag: number) => fields.get(tag)?.data[0];
    found.push({ place, reduced: ((first(TAG.reduced) ?? 0) & 1) !== 0, packed: (first(TAG.compression) ?? 1) !== 1 });
  }
  return found;
}

/** Of a TIFF's directory, or of a block of EXIF fields: of the first where none is named. */
export async function fieldsOf(file: Blob, directory?: Directory): Promise<Fields> {
  const reader = await Reader.of(file);
  if (!reader) return new Map();
  return reader.fields(directory?.place ?? reader.first, (tag) => CARRIED.includes(tag) || OF_PAGES.includes(tag));
}

/** The size that EXIF tells is the result's. */
export function resize(fields: Fields, width: number, height: number): void {
  const own = fields.get(EXIF)?.below;
  PIXEL_SIZE.forEach((tag, i) => own?.has(tag) && own.set(tag, longs([width, height][i]!)));
}

/** A directory and what it points to, to lie at `base`; where it begins; `next`: the place of another. */
export function written(
  fields: Fields,
  base: number,
  next: number,
): { parts: Uint8Array<ArrayBuffer>[]; size: number; at: number } {
  const parts: Uint8Array<ArrayBuffer>[] = [];
  let size = 0;
  const put = (data: Uint8Array): number => {
    const even = (base + size) % 2;
    parts.push(new Uint8Array(even), new Uint8Array(data));
    size += even + data.length;
    return base + size - data.length;
  };
  const entries = [...fields.entries()].sort(([a], [b]) => a - b);
  const listed = entries.flatMap(([tag, { type, count, data, below }]) => {
    let value = data;
    if (below) {
      const inner = written(below, base + size + ((base + size) % 2), 0);
      put(new Uint8Array(0));
      parts.push(...inner.parts);
      size += inner.size;
      value = little([inner.at], 4);
    } else if (data.length > 4) {
      value = little([put(data)], 4);
    }
    const room = Array.from({ length: 4 }, (_, i) => value[i] ?? 0);
    return [...little([tag, type], 2), ...little([count], 4), ...room];
  });
  const at = put(Uint8Array.from([...little([entries.length], 2), ...listed, ...little([next], 4)]));
  return { parts, size, at };
}

/** As JPEG and PNG hold them; null where there are none. */
export function exifOf(fields: Fields): Uint8Array | null {
  const own: Fields = new Map([...fields].filter(([tag]) => !OF_PAGES.includes(tag)));
  if (own.size === 0) return null;
  const { parts, at } = written(own, 8, 0);
  return concatenated([Uint8Array.from([0x49, 0x49, 42, 0, ...little([at], 4)]), ...parts]);
}
