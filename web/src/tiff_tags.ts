// What a TIFF tells in words, EXIF and GPS fields: read from one file and laid into another. libvips drops them.

const EXIF = 0x8769;
const GPS = 0x8825;
const SUB_DIRECTORIES = [EXIF, GPS];
// Name of document, description, make, model, name of page, software, time, artist, computer, copyright; Windows' own.
const CARRIED = [
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
const INTEROPERABILITY = 0xa005; // an offset, of which nobody reads what is there
// Bytes of one number of a type, and of rationals, which are two.
const NUMBERS = [0, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4, 4, 8, 4, 0, 0, 8, 8, 8];
const RATIONALS = [5, 10];
const LONG = 4;
const MOST = 1 << 20; // bytes of a field; fields of words are shorter

interface Field {
  type: number;
  count: number;
  /** Little-endian. */
  data: Uint8Array;
  below?: Fields;
}
export type Fields = Map<number, Field>;

const bytesOf = async (part: Blob) => new Uint8Array(await part.arrayBuffer());

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

  async fields(at: number, wanted: (tag: number) => boolean): Promise<Fields> {
    const { little, big } = this;
    const [head, entry, room] = big ? [8, 20, 8] : [2, 12, 4];
    const number = (view: DataView, place: number) =>
      big ? Number(view.getBigUint64(place, little)) : view.getUint32(place, little);
    const top = new DataView((await bytesOf(this.file.slice(at, at + head))).buffer);
    const count = Math.min(big ? Number(top.getBigUint64(0, little)) : top.getUint16(0, little), 4096);
    const view = new DataView((await bytesOf(this.file.slice(at + head, at + head + count * entry))).buffer);
    const found: Fields = new Map();
    for (let i = 0; i + entry <= view.byteLength; i += entry) {
      const tag = view.getUint16(i, little);
      const type = view.getUint16(i + 2, little);
      const values = number(view, i + 4);
      const size = (NUMBERS[type] ?? 0) * (RATIONALS.includes(type) ? 2 : 1) * values;
      if (!wanted(tag) || size === 0 || size > MOST) continue;
      const place = i + (big ? 12 : 8);
      const offset = number(view, place);
      if (SUB_DIRECTORIES.includes(tag)) {
        const below = await this.fields(offset, (each) => each !== INTEROPERABILITY && !SUB_DIRECTORIES.includes(each));
        found.set(tag, { type: LONG, count: 1, data: new Uint8Array(4), below });
        continue;
      }
      const data =
        size <= room
          ? new Uint8Array(view.buffer.slice(place, place + size))
          : await bytesOf(this.file.slice(offset, offset + size));
      if (data.length < size) continue; // it lies outside of the file
      if (!little) swap(data, NUMBERS[type]!);
      found.set(tag, { type, count: values, data });
    }
    return found;
  }
}

function swap(data: Uint8Array, width: number): void {
  for (let i = 0; width > 1 && i + width <= data.length; i += width) data.subarray(i, i + width).reverse();
}

/** Of a TIFF file or a block of EXIF fields, which is one. */
export async function fieldsOf(file: Blob): Promise<Fields> {
  try {
    const reader = await Reader.of(file);
    return reader ? await reader.fields(reader.first, (tag) => CARRIED.includes(tag)) : new Map();
  } catch {
    return new Map(); // it ends before its fields do
  }
}

/** A directory and what it points to, to lie at `base`; where it begins; `next`: the place of another. */
function written(fields: Fields, base: number, next: number): { bytes: number[]; at: number } {
  const bytes: number[] = [];
  const put = (data: ArrayLike<number>): number => {
    if ((base + bytes.length) % 2 !== 0) bytes.push(0);
    const place = base + bytes.length;
    for (let i = 0; i < data.length; i++) bytes.push(data[i]!);
    return place;
  };
  const little = (value: number, width: number) =>
    Array.from({ length: width }, (_, i) => Math.floor(value / 256 ** i) & 255);
  const entries = [...fields.entries()].sort(([a], [b]) => a - b);
  const listed = entries.flatMap(([tag, { type, count, data, below }]) => {
    let value: ArrayLike<number> = data;
    if (below) {
      const inner = written(below, base + bytes.length + (bytes.length % 2), 0);
      put(inner.bytes);
      value = little(inner.at, 4);
    } else if (data.length > 4) {
      value = little(put(data), 4);
    }
    const room = Array.from({ length: 4 }, (_, i) => value[i] ?? 0);
    return [...little(tag, 2), ...little(type, 2), ...little(count, 4), ...room];
  });
  const at = put([...little(entries.length, 2), ...listed, ...little(next, 4)]);
  return { bytes, at };
}

/** A finished TIFF of libvips' with these fields, beside its own; the file is copied by nobody. */
export async function withFields(file: Blob, fields: Fields): Promise<Blob> {
  const reader = fields.size > 0 ? await Reader.of(file) : null;
  if (!reader || !reader.little || reader.big) return file;
  const count = new DataView(await file.slice(reader.first, reader.first + 2).arrayBuffer()).getUint16(0, true);
  const end = reader.first + 2 + 12 * count;
  const entries = new DataView(await file.slice(reader.first + 2, end + 4).arrayBuffer());
  const all: Fields = new Map(fields);
  for (let i = 0; i < 12 * count; i += 12) {
    // As it stands: the data itself, or its place, which stays.
    const data = new Uint8Array(entries.buffer.slice(i + 8, i + 12));
    all.set(entries.getUint16(i, true), {
      type: entries.getUint16(i + 2, true),
      count: entries.getUint32(i + 4, true),
      data,
    });
  }
  const base = file.size + (file.size % 2);
  const { bytes, at } = written(all, base, entries.getUint32(12 * count, true));
  if (base + bytes.length > 0xffff_ffff) return file;
  const head = new Uint8Array(await file.slice(0, 8).arrayBuffer());
  new DataView(head.buffer).setUint32(4, at, true);
  const padding = new Uint8Array(base - file.size);
  return new Blob([head, file.slice(8), padding, Uint8Array.from(bytes)], { type: file.type });
}

/** As JPEG and PNG hold them; null where there are none. */
export function exifOf(fields: Fields): Uint8Array | null {
  if (fields.size === 0) return null;
  const { bytes, at } = written(fields, 8, 0);
  return Uint8Array.from([0x49, 0x49, 42, 0, at & 255, (at >> 8) & 255, (at >> 16) & 255, at >> 24, ...bytes]);
}
