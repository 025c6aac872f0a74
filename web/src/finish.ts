// The finished picture at full size, in bands, with what the scan's file carried.
import { fillContainer, ofSize, withoutProfile } from './container.ts';
import { SAMPLES, type Engine } from './engine.ts';
import { boxOf, cornersOf, wholePixels, type Cut } from './frame.ts';
import { gammaIn, repeat, type SidecarPage } from './sidecar.ts';
import { blobIn, isVips, open, toScreen, type Source } from './source.ts';
import { stripLines, TiffFile, type Shape } from './tiff_file.ts';
import {
  bytes,
  directoriesOf,
  exifOf,
  fieldsOf,
  rational,
  resize,
  shorts,
  TAG,
  undefinedBytes,
  type Directory,
  type Fields,
} from './tiff_tags.ts';
import { declined, vips, written, type Image, type Vips } from './vips.ts';

export type Target = 'same' | 'jpeg' | 'png' | 'tiff';

export interface Finished {
  blob: Blob;
  extension: string;
}

type Report = (share: number) => void;

const QUALITY = 0.95;
const BAND_PIXELS = 1 << 20;
const BLOCK_BYTES = 1 << 26;
const REACH = 3; // pixels around a place that interpolation looks at
const EXIF_HEAD = new TextEncoder().encode('Exif\0\0'); // as libvips holds it
const CARRIED = ['exif-data', 'xmp-data', 'iptc-data'];
const PER_CENTIMETRE = 3;

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

/** Corrected pieces of the region from top to bottom; lines: each has a multiple of these, but the last. */
async function* corrected(engine: Engine, source: Source, page: SidecarPage, region: Cut, report: Report, lines = 1) {
  const scan = engine.scan(source.width, source.height, gammaIn(page));
  try {
    await repeat(page, scan);
    const band = lines * Math.max(1, Math.floor(BAND_PIXELS / (region.width * lines)));
    for (let y = 0; y < region.height; y += band) {
      const high = Math.min(band, region.height - y);
      const piece = source.piece(region.x, region.y + y, region.width, high);
      scan.apply(piece, region.width, [region.x, region.y + y], source.format, source.depth, page.chroma);
      yield { piece, y };
      report((y + high) / region.height);
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

/** A file to be finished: its correction, and how far it is. */
interface Work {
  engine: Engine;
  file: Blob;
  /** Of its page, in a TIFF; undefined: the first. */
  directory: Directory | undefined;
  source: Source;
  page: SidecarPage;
  cut: Cut | null;
  report: Report;
}

const sizeOf = ({ source, cut }: Work) => ({
  width: cut?.width ?? source.width,
  height: cut?.height ?? source.height,
});

async function byBrowser(work: Work, type: 'jpeg' | 'png'): Promise<Blob> {
  const { engine, source, page, cut, report } = work;
  const region = regionOf(source, cut);
  let canvas = new OffscreenCanvas(region.width, region.height);
  const context = canvas.getContext('2d', { alpha: false, willReadFrequently: true })!;
  for await (const { piece, y } of corrected(engine, source, page, region, (share) => report(0.8 * share))) {
    context.putImageData(toScreen(piece, region.width, source.format, source.depth), 0, y);
  }
  if (cut !== null && cut.degrees !== 0) canvas = turnedCanvas(canvas, region, cut);
  const blob = await canvas.convertToBlob({ type: `image/${type}`, quality: QUALITY });
  report(0.95);
  // A canvas has colours, also where the scan has none.
  const own = source.container.gray ? withoutProfile(source.container) : source.container;
  const from = ofSize(own, canvas.width, canvas.height);
  return new Blob([await fillContainer(new Uint8Array(await blob.arrayBuffer()), from)], { type: MIME[type] });
}

/** Without the byte of alpha that the browser adds. */
function ownSamples(piece: Uint8Array | Uint8ClampedArray, source: Source): Uint8Array<ArrayBuffer> {
  if (isVips(source) || source.format !== 'rgba') return new Uint8Array(piece);
  const rgb = new Uint8Array((piece.length / 4) * 3);
  for (let from = 0, to = 0; from < piece.length; from += 4, to += 3) {
    rgb[to] = piece[from]!;
    rgb[to + 1] = piece[from + 1]!;
    rgb[to + 2] = piece[from + 2]!;
  }
  return rgb;
}

const samplesOf = (source: Source): number =>
  isVips(source) ? SAMPLES[source.format] : source.format === 'gray' ? 1 : 3;

// ---- by libvips ----

/** The finished pixels in memory, where interpolation looks around, and files are written at once. */
async function finishedImage(work: Work, library: Vips): Promise<Image> {
  const { source, cut } = work;
  const region = regionOf(source, cut);
  const samples = samplesOf(source);
  const deep = source.depth === 16;
  const { uchar, ushort } = library.BandFormat;
  const blocks: Image[] = [];
  for await (const block of finishedBlocks(work, region)) {
    const lines = block.length / (region.width * samples * (deep ? 2 : 1));
    const values = deep ? new Uint16Array(block.buffer) : block;
    blocks.push(library.Image.newFromMemory(values, region.width, lines, samples, deep ? ushort : uchar));
  }
  const joined = library.Image.arrayjoin(blocks, { across: 1 });
  // The last block may have fewer lines than the others, which are as high as the highest.
  const cropped = joined.crop(0, 0, region.width, region.height);
  const whole = cropped.copy({ interpretation: samples < 3 ? (deep ? 'grey16' : 'b-w') : deep ? 'rgb16' : 'srgb' });
  const turned = cut !== null && cut.degrees !== 0 ? turnedImage(whole, region, cut, library) : whole;
  // What is made of them holds them: their memory is free when that is.
  for (const image of new Set([...blocks, joined, cropped, whole])) if (image !== turned) image.delete();
  return turned;
}

/** Large ones: libvips' memory has twice the room of small ones. */
async function* finishedBlocks(work: Work, region: Cut): AsyncGenerator<Uint8Array<ArrayBuffer>> {
  const { engine, source, page, report } = work;
  const line = region.width * samplesOf(source) * (source.depth / 8);
  const most = line * Math.max(1, Math.floor(BLOCK_BYTES / line));
  let block = new Uint8Array(0);
  let used = 0;
  let left = line * region.height;
  for await (const { piece } of corrected(engine, source, page, region, (share) => report(0.7 * share))) {
    const own = ownSamples(piece, source);
    for (let from = 0; from < own.length;) {
      if (used === block.length) [block, used] = [new Uint8Array(Math.min(most, left)), 0];
      const part = own.subarray(from, from + block.length - used);
      block.set(part, used);
      used += part.length;
      from += part.length;
      left -= part.length;
      if (used === block.length) yield block;
    }
  }
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

/** Words, EXIF and GPS of a scan, for a result of the work's size. */
async function fieldsToldBy(work: Work): Promise<Fields> {
  const { type, exif } = work.source.container;
  const fields =
    type === 'tiff'
      ? await fieldsOf(work.file, work.directory)
      : exif
        ? await fieldsOf(new Blob([exif as Uint8Array<ArrayBuffer>]))
        : new Map();
  const { width, height } = sizeOf(work);
  resize(fields, width, height);
  return fields;
}

async function byVips(work: Work, type: 'jpeg' | 'png'): Promise<Blob> {
  const { source, report } = work;
  const library = await vips();
  const finished = await finishedImage(work, library);
  const image = finished.copy(isVips(source) ? { xres: source.image.xres, yres: source.image.yres } : {});
  finished.delete();
  const { profile, orientation } = source.container;
  for (const name of CARRIED) {
    const own = isVips(source) ? blobIn(source.image, name) : null;
    if (own) image.setBlob(name, own);
  }
  if (profile) image.setBlob('icc-profile-data', profile);
  const exif = source.container.type === 'tiff' ? exifOf(await fieldsToldBy(work)) : null;
  if (exif) image.setBlob('exif-data', Uint8Array.from([...EXIF_HEAD, ...exif]));
  if (orientation !== 1) image.setInt('orientation', orientation);
  const { width, height } = image;
  source.close(); // its memory is needed
  const blob = written(library, image, `.${EXTENSIONS[type]}`, type === 'jpeg' ? { Q: 95 } : {});
  image.delete();
  report(1);
  if (isVips(source) || type !== source.container.type) return new Blob([blob], { type: MIME[type] });
  const from = ofSize(source.container, width, height);
  return new Blob([await fillContainer(new Uint8Array(await blob.arrayBuffer()), from)], { type: MIME[type] });
}

// ---- TIFF and PNM, in bands ----

/** The finished pixels from top to bottom. */
async function* finishedLines(work: Work, lines: number): AsyncGenerator<Uint8Array<ArrayBuffer>> {
  const { engine, source, page, cut, report } = work;
  if (cut === null || cut.degrees === 0) {
    for await (const { piece } of corrected(engine, source, page, regionOf(source, cut), report, lines)) {
      yield ownSamples(piece, source);
    }
    return;
  }
  const image = await finishedImage(work, await vips());
  const band = lines * Math.max(1, Math.floor(BAND_PIXELS / (image.width * lines)));
  for (let y = 0; y < image.height; y += band) {
    const part = image.crop(0, y, image.width, Math.min(band, image.height - y));
    yield new Uint8Array(part.writeToMemory());
    part.delete();
    report(0.7 + (0.3 * (y + band)) / image.height);
  }
  image.delete();
}

/** Beside words: what libvips knows of the scan. */
function fieldsAround(source: Source): Fields {
  const { container } = source;
  const fields: Fields = new Map();
  if (container.orientation !== 1) fields.set(TAG.orientation, shorts(container.orientation));
  if (container.profile) fields.set(TAG.profile, undefinedBytes(container.profile));
  if (!isVips(source)) return fields;
  const { image } = source;
  const [xmp, iptc] = [blobIn(image, 'xmp-data'), blobIn(image, 'iptc-data')];
  if (xmp) fields.set(TAG.xmp, bytes(xmp));
  if (iptc) fields.set(TAG.iptc, undefinedBytes(iptc));
  if (image.xres === 1) return fields; // libvips knows none
  fields.set(TAG.xResolution, rational(10 * image.xres)); // a centimetre, of a millimetre
  fields.set(TAG.yResolution, rational(10 * image.yres));
  fields.set(TAG.resolutionUnit, shorts(PER_CENTIMETRE));
  return fields;
}

/** As the scan is: a plain one is made plain, which is quick. */
const isPacked = ({ directory }: Work): boolean => directory?.packed ?? false;

async function addToTiff(tiff: TiffFile, work: Work): Promise<void> {
  const { source } = work;
  const shape: Shape = { ...sizeOf(work), samples: samplesOf(source), depth: source.depth, packed: isPacked(work) };
  const fields = new Map([...fieldsAround(source), ...(await fieldsToldBy(work))]);
  await tiff.add(shape, fields, finishedLines(work, stripLines(shape)));
}

async function asPnm(work: Work): Promise<Blob> {
  const { source } = work;
  const { width, height } = sizeOf(work);
  const samples = samplesOf(source) < 3 ? 1 : 3;
  const head = `P${samples === 1 ? 5 : 6}\n${width} ${height}\n${2 ** source.depth - 1}\n`;
  const parts: Blob[] = [new Blob([head])];
  for await (const piece of finishedLines(work, 1)) {
    if (source.depth === 16) swapPairs(piece); // the high byte is first there
    parts.push(new Blob([piece]));
  }
  return new Blob(parts, { type: MIME.pnm });
}

function swapPairs(bytes: Uint8Array): void {
  const values = new Uint16Array(bytes.buffer, bytes.byteOffset, bytes.length / 2);
  for (let i = 0; i < values.length; i++) values[i] = (values[i]! << 8) | (values[i]! >> 8);
}

// ---- files ----

type Type = 'jpeg' | 'png' | 'tiff' | 'pnm';
const MIME = { jpeg: 'image/jpeg', png: 'image/png', tiff: 'image/tiff', pnm: 'image/x-portable-anymap' };
const EXTENSIONS = { jpeg: 'jpg', png: 'png', tiff: 'tif', pnm: 'ppm' };

function cutOf({ crop }: SidecarPage): Cut | null {
  return crop && { x: crop.left, y: crop.top, width: crop.width, height: crop.height, degrees: crop.tilt };
}

async function asTiff(fill: (tiff: TiffFile) => Promise<void>): Promise<Blob> {
  const tiff = new TiffFile();
  try {
    await fill(tiff);
    return tiff.end();
  } finally {
    tiff.close();
  }
}

async function finishOne(engine: Engine, file: Blob, page: SidecarPage, target: Target, report: Report) {
  const source = await open(file, page.page);
  try {
    const { type: own, gray } = source.container;
    const directory = own === 'tiff' ? (await directoriesOf(file))[page.page] : undefined;
    const type: Type = target !== 'same' ? target : own === 'webp' || own === 'other' ? 'png' : own;
    const work: Work = { engine, file, directory, source, page, cut: cutOf(page), report };
    const extension = type === 'pnm' && gray ? 'pgm' : EXTENSIONS[type];
    if (type === 'pnm') return { blob: await asPnm(work), extension };
    if (type === 'tiff') return { blob: await asTiff((tiff) => addToTiff(tiff, work)), extension };
    // Gray stays gray where libvips can be had.
    const browserWrites = !isVips(source) && (!gray || declined() !== null);
    const blob = browserWrites ? await byBrowser(work, type) : await byVips(work, type);
    return { blob, extension };
  } finally {
    source.close();
  }
}

/** For a page that is this one made small. */
function madeSmall(page: SidecarPage, number: number, { width, height }: Source): SidecarPage {
  const [across, down] = [width / page.width, height / page.height];
  const box = page.crop && {
    left: Math.round(page.crop.left * across),
    top: Math.round(page.crop.top * down),
    right: Math.round((page.crop.left + page.crop.width) * across),
    bottom: Math.round((page.crop.top + page.crop.height) * down),
  };
  const cut = box && wholePixels(box, width, height);
  const crop = cut && { left: cut.x, top: cut.y, width: cut.width, height: cut.height, tilt: page.crop!.tilt };
  return { ...page, page: number, crop, surface: null };
}

/** Of a page that has no correction of its own. */
function correctionOf(before: SidecarPage | undefined, number: number, source: Source, reduced: boolean): SidecarPage {
  if (!before || !reduced) throw new Error(`page ${number + 1} has no correction`);
  return madeSmall(before, number, source);
}

/** A TIFF with all of its pages. One made small is corrected as the page before it. */
async function addAll(tiff: TiffFile, engine: Engine, file: Blob, pages: SidecarPage[], report: Report): Promise<void> {
  const directories = await directoriesOf(file);
  let before = pages[0];
  for (const [number, directory] of directories.entries()) {
    const part: Report = (share) => report((number + share) / directories.length);
    const source = await open(file, number);
    try {
      if (source.bilevel) {
        await addAsStored(tiff, file, directory, source);
        continue;
      }
      const own = pages.find(({ page }) => page === number);
      if (own) before = own;
      const page = own ?? correctionOf(before, number, source, directory.reduced);
      await addToTiff(tiff, { engine, file, directory, source, page, cut: cutOf(page), report: part });
    } finally {
      source.close();
    }
  }
}

/** A page of black and white: eight pixels a byte. */
async function addAsStored(tiff: TiffFile, file: Blob, directory: Directory, source: Source): Promise<void> {
  const { width, height } = source;
  const shape: Shape = { width, height, samples: 1, depth: 1, packed: directory.packed };
  const lines = stripLines(shape);
  const fields = new Map([...fieldsAround(source), ...(await fieldsOf(file, directory))]);
  await tiff.add(shape, fields, packedLines(source, lines));
}

async function* packedLines({ width, height, piece }: Source, lines: number): AsyncGenerator<Uint8Array<ArrayBuffer>> {
  const bytes = Math.ceil(width / 8);
  for (let y = 0; y < height; y += lines) {
    const high = Math.min(lines, height - y);
    const values = piece(0, y, width, high);
    const packed = new Uint8Array(bytes * high);
    values.forEach((value, i) => {
      const x = i % width;
      if (value > 127) packed[bytes * Math.floor(i / width) + (x >> 3)]! |= 128 >> (x & 7);
    });
    yield packed;
  }
}

/** By its corrections; cuts are what those tell. whole: all pages of the file, as a TIFF; else the one that is given. */
export async function finish(
  engine: Engine,
  file: Blob,
  pages: SidecarPage[],
  target: Target,
  whole: boolean,
  report: Report,
): Promise<Finished> {
  if (!whole) return finishOne(engine, file, pages[0]!, target, report);
  return { blob: await asTiff((tiff) => addAll(tiff, engine, file, pages, report)), extension: 'tif' };
}
