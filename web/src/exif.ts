// Numbers in a block of EXIF fields, read and changed where they stand.

const ORIENTATION = 0x0112;
const OWN_FIELDS = 0x8769; // the place of EXIF's own directory
const WIDTH = 0xa002;
const HEIGHT = 0xa003;
const SHORT = 3;

interface Value {
  get(): number;
  set(value: number): void;
}

function valueIn(exif: Uint8Array, tag: number, inOwn: boolean): Value | null {
  const view = new DataView(exif.buffer, exif.byteOffset, exif.length);
  try {
    const little = view.getUint16(0) === 0x4949;
    const find = (directory: number, wanted: number): Value | null => {
      for (let i = 0, at = directory + 2; i < view.getUint16(directory, little); i++, at += 12) {
        if (view.getUint16(at, little) !== wanted) continue;
        const short = view.getUint16(at + 2, little) === SHORT;
        return {
          get: () => (short ? view.getUint16(at + 8, little) : view.getUint32(at + 8, little)),
          set: (value) => (short ? view.setUint16(at + 8, value, little) : view.setUint32(at + 8, value, little)),
        };
      }
      return null;
    };
    const first = view.getUint32(4, little);
    if (!inOwn) return find(first, tag);
    const own = find(first, OWN_FIELDS);
    return own && find(own.get(), tag);
  } catch {
    return null; // it ends before its fields do
  }
}

/** 1, as it is stored, where it has none. `becomes`: what it is afterwards. */
export function orientationOf(exif: Uint8Array, becomes?: number): number {
  const value = valueIn(exif, ORIENTATION, false);
  const orientation = value?.get() ?? 1;
  if (becomes !== undefined) value?.set(becomes);
  return orientation;
}

/** The block of a picture of this size. */
export function resized(exif: Uint8Array, width: number, height: number): Uint8Array {
  const own = exif.slice();
  valueIn(own, WIDTH, true)?.set(width);
  valueIn(own, HEIGHT, true)?.set(height);
  return own;
}
