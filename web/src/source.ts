// A scan's file, opened: pieces of its pixels in the file's own values, decoded by the browser or by libvips.
import { asStored, readContainer, type Container } from './container.ts';
import { SAMPLES, type Depth, type Format } from './engine.ts';
import { gammaOf, nameOf } from './icc.ts';
import { declined, vips, type Vips } from './vips.ts';

export interface Source {
  readonly container: Container;
  readonly width: number;
  readonly height: number;
  readonly depth: Depth;
  readonly format: Format;
  /** 1 for gray and 3 for colours, with one more for alpha. */
  readonly bands: number;
  /** Pages of the file; the first is opened. */
  readonly pages: number;
  piece(x: number, y: number, width: number, height: number): Uint8Array | Uint8ClampedArray;
  /** Also more than once. */
  close(): void;
}

export interface Encoding {
  gamma: number;
  from: string;
}

/** Of the scan's values, in tenths, and where that comes from. */
export function encodingOf({ profile }: Container): Encoding {
  if (profile === null) return { gamma: 22, from: 'sRGB assumed' };
  const gamma = gammaOf(profile);
  return {
    gamma: gamma ?? 22,
    from: `ICC profile ${nameOf(profile)}${gamma === null ? ', which tells no gamma' : ''}`,
  };
}

export async function open(file: Blob): Promise<Source> {
  const bytes = new Uint8Array(await file.arrayBuffer());
  if (bytes.length === 0) throw new Error('the file is empty');
  const container = await readContainer(bytes);
  const needsVips = container.type === 'tiff' || container.type === 'pnm' || container.depth === 16 || container.alpha;
  if (needsVips) return openByVips(bytes, container);
  if (container.orientation === 1) return openByBrowser(file, container);
  asStored(bytes);
  return openByBrowser(new Blob([bytes]), container);
}

// ---- by the browser ----

/** Samples that the browser gives as R G B A become those of the file. */
export function toFormat(rgba: Uint8ClampedArray, format: Format): Uint8ClampedArray {
  if (format !== 'gray') return rgba;
  const gray = new Uint8ClampedArray(rgba.length / 4);
  for (let i = 0; i < gray.length; i++) gray[i] = rgba[4 * i]!;
  return gray;
}

async function openByBrowser(file: Blob, container: Container): Promise<Source> {
  let bitmap: ImageBitmap;
  try {
    // Values as they stand in the file.
    bitmap = await createImageBitmap(file, {
      colorSpaceConversion: 'none',
      premultiplyAlpha: 'none',
    });
  } catch {
    throw new Error('the file is damaged, or of a format that this browser does not open');
  }
  const { width, height } = bitmap;
  let canvas = new OffscreenCanvas(1, 1);
  let context: OffscreenCanvasRenderingContext2D | null = null;
  const format = container.gray ? 'gray' : 'rgba';
  return {
    container,
    width,
    height,
    depth: 8,
    format,
    bands: (container.gray ? 1 : 3) + (container.alpha ? 1 : 0),
    pages: 1,
    piece(x, y, w, h) {
      if (context === null || canvas.width < w || canvas.height < h) {
        canvas = new OffscreenCanvas(Math.max(canvas.width, w), Math.max(canvas.height, h));
        context = canvas.getContext('2d', { willReadFrequently: true })!;
      }
      context.globalCompositeOperation = 'copy';
      context.drawImage(bitmap, x, y, w, h, 0, 0, w, h);
      return toFormat(context.getImageData(0, 0, w, h).data, format);
    },
    close: () => bitmap.close(),
  };
}

// ---- by libvips ----

const FORMATS: Format[] = ['gray', 'graya', 'rgb', 'rgba'];

export interface VipsSource extends Source {
  readonly vips: Vips;
  readonly image: InstanceType<Vips['Image']>;
}

export const isVips = (source: Source): source is VipsSource => 'vips' in source;

/** The pixels in memory, once; what they were made of is let go. */
function held(image: InstanceType<Vips['Image']>): InstanceType<Vips['Image']> {
  const copy = image.copyMemory();
  image.delete();
  return copy;
}

async function openByVips(bytes: Uint8Array, container: Container): Promise<VipsSource> {
  const why = declined();
  if (why) throw new Error(why);
  const library = await vips();
  let image: InstanceType<Vips['Image']>;
  try {
    // Line by line into memory, which then holds the pixels once, and the file no more.
    image = held(library.Image.newFromBuffer(bytes, '', { access: 'sequential' }));
  } catch {
    throw new Error('the file is damaged, or of a kind that cannot be opened here');
  }
  const pages = image.getTypeof('n-pages') !== 0 ? image.getInt('n-pages') : 1;
  if (image.interpretation === 'cmyk') {
    image = held(image.colourspace('srgb'));
    image.remove('icc-profile-data'); // of the inks
  }
  if (image.format !== 'uchar' && image.format !== 'ushort') {
    throw new Error(`its samples (${image.format}) are neither of 8 nor of 16 bits`);
  }
  if (image.bands > 4) image = image.extractBand(0, { n: 4 });
  const profile = image.getTypeof('icc-profile-data') !== 0 ? image.getBlob('icc-profile-data').slice() : null;
  const orientation = image.getTypeof('orientation') !== 0 ? image.getInt('orientation') : 1;
  const depth = image.format === 'ushort' ? 16 : 8;
  const { width, height, bands } = image;
  return {
    vips: library,
    image,
    container: { ...container, depth, gray: bands < 3, alpha: bands % 2 === 0, profile, orientation },
    width,
    height,
    depth,
    format: FORMATS[bands - 1]!,
    bands,
    pages,
    piece(x, y, w, h) {
      const part = image.crop(x, y, w, h);
      const values = part.writeToMemory();
      part.delete();
      return new Uint8Array(values.buffer, values.byteOffset, values.byteLength);
    },
    close: () => !image.isDeleted() && image.delete(),
  };
}

/** A piece for the screen: R G B A of 8 bits. */
export function toScreen(
  piece: Uint8Array | Uint8ClampedArray,
  width: number,
  format: Format,
  depth: Depth,
): ImageData {
  const values = depth === 16 ? new Uint16Array(piece.slice().buffer) : piece;
  const samples = SAMPLES[format];
  const colours = samples >= 3;
  const count = values.length / samples;
  const rgba = new Uint8ClampedArray(4 * count);
  const shift = depth === 16 ? 8 : 0;
  for (let i = 0, from = 0, to = 0; i < count; i++, from += samples, to += 4) {
    rgba[to] = values[from]! >> shift;
    rgba[to + 1] = values[colours ? from + 1 : from]! >> shift;
    rgba[to + 2] = values[colours ? from + 2 : from]! >> shift;
    rgba[to + 3] = 255;
  }
  return new ImageData(rgba, width);
}
