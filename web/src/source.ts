// A scan's file, opened: pieces of its pixels in the file's own values, decoded by the browser or by libvips.
import { asStored, plainContainer, readContainer, typeOf, type Container } from './container.ts';
import { SAMPLES, SRGB_CURVE, type Depth, type Format } from './engine.ts';
import { gammaOf, nameOf } from './icc.ts';
import { declined, sourceOf, vips, type Image, type Vips } from './vips.ts';

export interface Source {
  readonly container: Container;
  readonly width: number;
  readonly height: number;
  readonly depth: Depth;
  readonly format: Format;
  /** 1 for gray and 3 for colours, with one more for alpha. */
  readonly bands: number;
  /** Pages of the file, of which one is opened. */
  readonly pages: number;
  /** Black and white only: there is nothing to correct. */
  readonly bilevel: boolean;
  piece(x: number, y: number, width: number, height: number): Uint8Array | Uint8ClampedArray;
  /** Also more than once. */
  close(): void;
}

export interface Encoding {
  gamma: number;
  from: string;
}

/** Of the scan's values, in tenths or SRGB_CURVE, and where that comes from. */
export function encodingOf({ profile }: Container): Encoding {
  if (profile === null) return { gamma: SRGB_CURVE, from: 'sRGB assumed' };
  const gamma = gammaOf(profile);
  return {
    gamma: gamma ?? SRGB_CURVE,
    from: `ICC profile ${nameOf(profile)}${gamma === null ? ', which tells no gamma' : ''}`,
  };
}

const HEAD = 16;

/** page: of the file's pages, from 0. */
export async function open(file: Blob, page = 0): Promise<Source> {
  if (file.size === 0) throw new Error('the file is empty');
  const type = typeOf(new Uint8Array(await file.slice(0, HEAD).arrayBuffer()));
  if (type === 'tiff' || type === 'pnm') return openByVips(file, plainContainer(type), page);
  const bytes = new Uint8Array(await file.arrayBuffer());
  const container = await readContainer(bytes);
  if (container.depth === 16 || container.alpha) return openByVips(file, container, page);
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
    bilevel: false,
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

// A page's memory has 2 GB for libvips, and the pixels are not alone in it.
const MOST_HELD = 1.5e9;

export interface VipsSource extends Source {
  readonly vips: Vips;
  readonly image: Image;
}

export const isVips = (source: Source): source is VipsSource => 'vips' in source;

const has = (image: Image, name: string) => image.getTypeof(name) !== 0;
const numberIn = (image: Image, name: string, other: number) => (has(image, name) ? image.getInt(name) : other);
export const blobIn = (image: Image, name: string): Uint8Array<ArrayBuffer> | null =>
  has(image, name) ? new Uint8Array(image.getBlob(name)) : null;

/** Calls of libvips that tell no more than that they failed. */
function orDamaged<T>(call: () => T): T {
  try {
    return call();
  } catch (error) {
    if (error instanceof WebAssembly.RuntimeError) throw error;
    throw new Error('the file is damaged, or of a kind that cannot be opened here');
  }
}

/** The pixels in memory, once, line by line. */
function held(image: Image): Image {
  const bytes = image.width * image.height * image.bands * (image.format === 'ushort' ? 2 : 1);
  if (bytes > MOST_HELD) {
    throw new Error(`decoded it takes ${(bytes / 1e9).toFixed(1)} GB, more than a page can hold: take the program`);
  }
  return orDamaged(() => image.copyMemory());
}

/** The first picture of a file, or this page, as it is decoded: R G B or gray, of 8 or 16 bits. */
function decoded(library: Vips, file: Blob, page: number): Image {
  const source = sourceOf(library, file);
  const made: Image[] = [];
  const add = (image: Image): Image => (made.push(image), image);
  try {
    const options = page > 0 ? `[page=${page}]` : '';
    let image = add(
      orDamaged(() => library.Image.newFromSource(source, options, { access: 'sequential', fail_on: 'error' })),
    );
    if (image.interpretation === 'cmyk') {
      image = add(image.colourspace('srgb'));
      image.remove('icc-profile-data'); // of the inks
    }
    if (image.format !== 'uchar' && image.format !== 'ushort') {
      throw new Error(`its samples (${image.format}) are neither of 8 nor of 16 bits`);
    }
    if (image.bands > 4) image = add(image.extractBand(0, { n: 4 }));
    return held(image);
  } finally {
    for (const image of made) image.delete();
    source.delete();
  }
}

async function openByVips(file: Blob, container: Container, page: number): Promise<VipsSource> {
  const why = declined();
  if (why) throw new Error(why);
  const library = await vips();
  const image = decoded(library, file, page);
  const pages = container.type === 'tiff' ? numberIn(image, 'n-pages', 1) : 1;
  const depth = image.format === 'ushort' ? 16 : 8;
  const { width, height, bands } = image;
  const profile = blobIn(image, 'icc-profile-data');
  const orientation = numberIn(image, 'orientation', 1);
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
    bilevel: numberIn(image, 'bits-per-sample', 8) === 1,
    piece(x, y, w, h) {
      const part = image.crop(x, y, w, h);
      const values = orDamaged(() => part.writeToMemory());
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
  const [green, blue] = samples >= 3 ? [1, 2] : [0, 0];
  const count = values.length / samples;
  const rgba = new Uint32Array(count); // from the lowest byte on
  const shift = depth === 16 ? 8 : 0;
  for (let i = 0, from = 0; i < count; i++, from += samples) {
    const [r, g, b] = [values[from]! >> shift, values[from + green]! >> shift, values[from + blue]! >> shift];
    rgba[i] = r | (g << 8) | (b << 16) | 0xff00_0000;
  }
  return new ImageData(new Uint8ClampedArray(rgba.buffer), width);
}
