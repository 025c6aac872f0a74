// The finished picture at full size, in bands, with what the scan's file carried.
import { fillContainer, withoutProfile, type Container } from './container.ts';
import { SAMPLES, type Engine } from './engine.ts';
import { boxOf, cornersOf, wholePixels, type Cut } from './frame.ts';
import { repeat, type SidecarPage } from './sidecar.ts';
import { isVips, open, toScreen, type Source } from './source.ts';
import { exifOf, fieldsOf, withFields, type Fields } from './tiff_tags.ts';
import { declined, vips, type Vips } from './vips.ts';

export type Target = 'same' | 'jpeg' | 'png' | 'tiff';

export interface Finished {
  blob: Blob;
  extension: string;
}

type Report = (share: number) => void;
type Image = InstanceType<Vips['Image']>;

const QUALITY = 0.95;
const BAND_PIXELS = 1 << 20;
const REACH = 3; // pixels around a place that interpolation looks at
const EXIF_HEAD = new TextEncoder().encode('Exif\0\0'); // as libvips holds it
const CARRIED = ['icc-profile-data', 'exif-data', 'xmp-data', 'iptc-data'];

/** The part of the scan that is read: for a tilted cut, what lies around it. */
function regionOf(source: Source, cut: Cut | null): Cut {
  const { width, height } = source;
  if (cut === null) return { x: 0, y: 0, width, height, degrees: 0 };
  const box = boxOf(cornersOf(cut));
  const reach = cut.degrees === 0 ? 0 : REACH;
  const { left, top, right, bottom } = box;
  return wholePixels(
    { left: left - reach, top: top - reach, right: right + reach, bottom: bottom + reach },
    width,
    height,
  );
}

/** Corrected pieces of the region from top to bottom. */
async function* corrected(engine: Engine, source: Source, page: SidecarPage, region: Cut, report: Report) {
  const scan = engine.scan(source.width, source.height, page.inputGamma10);
  try {
    await repeat(page, scan);
    const band = Math.max(1, Math.floor(BAND_PIXELS / region.width));
    for (let y = 0; y < region.height; y += band) {
      const lines = Math.min(band, region.height - y);
      const piece = source.piece(region.x, region.y + y, region.width, lines);
      scan.apply(piece, region.width, [region.x, region.y + y], source.format, source.depth, page.chroma);
      yield { piece, y };
      report((0.8 * (y + lines)) / region.height);
      await new Promise((later) => setTimeout(later));
    }
  } finally {
    scan.close();
  }
}

function turnedCanvas(from: OffscreenCanvas, region: Cut, cut: Cut): OffscreenCanvas {
  const canvas = new OffscreenCanvas(cut.width, cut.height);
  const context = canvas.getContext('2d', { alpha: false })!;
  context.imageSmoothingQuality = 'high';
  context.rotate((-cut.degrees * Math.PI) / 180);
  context.drawImage(from, region.x - cut.x, region.y - cut.y);
  return canvas;
}

async function byBrowser(
  engine: Engine,
  source: Source,
  page: SidecarPage,
  cut: Cut | null,
  type: 'jpeg' | 'png',
  report: Report,
): Promise<Finished> {
  const region = regionOf(source, cut);
  let canvas = new OffscreenCanvas(region.width, region.height);
  const context = canvas.getContext('2d', { alpha: false, willReadFrequently: true })!;
  for await (const { piece, y } of corrected(engine, source, page, region, report)) {
    context.putImageData(toScreen(piece, region.width, source.format, source.depth), 0, y);
  }
  if (cut !== null && cut.degrees !== 0) canvas = turnedCanvas(canvas, region, cut);
  const blob = await canvas.convertToBlob({ type: `image/${type}`, quality: QUALITY });
  report(0.95);
  // A canvas has colours, also where the scan has none.
  const from = source.container.gray ? withoutProfile(source.container) : source.container;
  const filled = await fillContainer(new Uint8Array(await blob.arrayBuffer()), from);
  return { blob: new Blob([filled], { type: `image/${type}` }), extension: type === 'jpeg' ? 'jpg' : 'png' };
}

/** Without the byte of alpha that the browser adds. */
function ownSamples(piece: Uint8Array | Uint8ClampedArray, source: Source): Uint8Array {
  if (isVips(source) || source.format !== 'rgba') return new Uint8Array(piece);
  const rgb = new Uint8Array((piece.length / 4) * 3);
  for (let from = 0, to = 0; from < piece.length; from += 4, to += 3) {
    rgb[to] = piece[from]!;
    rgb[to + 1] = piece[from + 1]!;
    rgb[to + 2] = piece[from + 2]!;
  }
  return rgb;
}

/** libvips tells libtiff a quarter of the length, which then counts bytes. */
function fourfold(bytes: Uint8Array): Uint8Array {
  const long = new Uint8Array(4 * bytes.length);
  long.set(bytes);
  return long;
}

/** Of a scan that libvips opened, what it knows; else the profile. */
function carriedBy(source: Source): {
  resolution: { xres: number; yres: number } | null;
  blobs: [string, Uint8Array][];
} {
  if (!isVips(source)) {
    const { profile } = source.container;
    return { resolution: null, blobs: profile ? [['icc-profile-data', profile]] : [] };
  }
  const { image } = source;
  const there = CARRIED.filter((name) => image.getTypeof(name) !== 0);
  return {
    resolution: { xres: image.xres, yres: image.yres },
    blobs: there.map((name) => [name, image.getBlob(name).slice()]),
  };
}

function turnedImage(image: Image, region: Cut, cut: Cut, library: Vips): Image {
  const angle = (cut.degrees * Math.PI) / 180;
  const [cosine, sine] = [Math.cos(angle), Math.sin(angle)];
  // libvips counts from the middle of the first pixel, we from its corner.
  return image.affine([cosine, sine, -sine, cosine], {
    interpolate: library.Interpolate.newFromName('bicubic'),
    oarea: [0, 0, cut.width, cut.height],
    idx: region.x - cut.x + 0.5,
    idy: region.y - cut.y + 0.5,
    odx: -0.5,
    ody: -0.5,
    extend: 'copy',
  });
}

/** Words, EXIF and GPS of a scan. */
async function fieldsToldBy(file: Blob, { type, exif }: Container): Promise<Fields> {
  if (type === 'tiff') return fieldsOf(file);
  return exif ? fieldsOf(new Blob([exif as Uint8Array<ArrayBuffer>])) : new Map();
}

async function byVips(
  engine: Engine,
  file: Blob,
  source: Source,
  page: SidecarPage,
  cut: Cut | null,
  type: 'jpeg' | 'png' | 'tiff' | 'pnm',
  report: Report,
): Promise<Finished> {
  const library = await vips();
  const region = regionOf(source, cut);
  const samples = isVips(source) ? SAMPLES[source.format] : source.format === 'gray' ? 1 : 3;
  const line = region.width * samples * (source.depth / 8);
  const whole = new Uint8Array(line * region.height);
  for await (const { piece, y } of corrected(engine, source, page, region, report)) {
    whole.set(ownSamples(piece, source), y * line);
  }
  const deep = source.depth === 16;
  const own = carriedBy(source);
  source.close(); // its memory is needed
  const made = library.Image.newFromMemory(
    deep ? new Uint16Array(whole.buffer) : whole,
    region.width,
    region.height,
    samples,
    deep ? library.BandFormat.ushort : library.BandFormat.uchar,
  );
  const space = samples < 3 ? (deep ? 'grey16' : 'b-w') : deep ? 'rgb16' : 'srgb';
  const copy = made.copy({ interpretation: space, ...own.resolution });
  const image = cut !== null && cut.degrees !== 0 ? turnedImage(copy, region, cut, library) : copy;
  for (const [name, bytes] of own.blobs) {
    image.setBlob(name, name === 'iptc-data' && type === 'tiff' ? fourfold(bytes) : bytes);
  }
  const fields = await fieldsToldBy(file, source.container);
  const exif = source.container.type === 'tiff' && type !== 'tiff' ? exifOf(fields) : null;
  if (exif) image.setBlob('exif-data', Uint8Array.from([...EXIF_HEAD, ...exif]));
  const { orientation } = source.container;
  if (orientation !== 1) image.setInt('orientation', orientation);
  const extension = { jpeg: 'jpg', png: 'png', tiff: 'tif', pnm: samples < 3 ? 'pgm' : 'ppm' }[type];
  const options =
    type === 'tiff' ? { compression: 'deflate', predictor: 'horizontal' } : type === 'jpeg' ? { Q: 95 } : {};
  const bytes = image.writeToBuffer(`.${extension}`, options) as Uint8Array<ArrayBuffer>;
  for (const one of new Set([image, copy, made])) one.delete(); // nothing else frees libvips' memory in time
  const mime = { jpeg: 'image/jpeg', png: 'image/png', tiff: 'image/tiff', pnm: 'image/x-portable-anymap' }[type];
  const plain = new Blob([bytes], { type: mime });
  const blob = type === 'tiff' ? await withFields(plain, fields) : plain;
  if (own.resolution || type !== source.container.type) return { blob, extension };
  const filled = await fillContainer(bytes, source.container);
  return { blob: new Blob([filled], { type: mime }), extension };
}

/** Of a file, by its correction; the cut is what the correction tells. */
export async function finish(
  engine: Engine,
  file: Blob,
  page: SidecarPage,
  target: Target,
  report: Report,
): Promise<Finished> {
  const source = await open(file);
  try {
    const { type } = source.container;
    const own = type === 'webp' || type === 'other' ? 'png' : type;
    const wanted = target === 'same' ? own : target;
    const { crop } = page;
    const cut = crop && { x: crop.left, y: crop.top, width: crop.width, height: crop.height, degrees: crop.tilt };
    // Gray stays gray where libvips can be had.
    const browserWrites = !isVips(source) && (!source.container.gray || declined() !== null);
    if (browserWrites && (wanted === 'jpeg' || wanted === 'png')) {
      return await byBrowser(engine, source, page, cut, wanted, report);
    }
    const why = declined();
    if (why) throw new Error(why);
    return await byVips(engine, file, source, page, cut, wanted, report);
  } finally {
    source.close();
  }
}
