// Scans, their corrections and their pixels, away from the page, which stays quick. Messages are calls with a number.
import {
  chromaOf,
  cutFor,
  frameOf,
  isChanged,
  lay,
  layArea,
  propose,
  toldOf,
  type Proposal,
  type Told,
} from './decide.ts';
import type { Colours } from './colours.ts';
import { Engine, Roll, SRGB_CURVE, type Corners, type Kind, type Measurement, type Scan } from './engine.ts';
import type { Finished, Target } from './finish.ts';
import type { Cut } from './frame.ts';
import { nameOf } from './icc.ts';
import { analysisKey, type Settings } from './settings.ts';
import { gammaIn, pageOf, type Frame, type SidecarPage } from './sidecar.ts';
import { encodingOf, open, toScreen, type Encoding, type Source } from './source.ts';

export interface Opened {
  width: number;
  height: number;
  /** How it is to be seen, as EXIF counts. */
  orientation: number;
  depth: 8 | 16;
  /** Black and white only: there is nothing to correct. */
  bilevel: boolean;
  /** Of the first page: those of the file that are pictures of their own, from 0. */
  pages: number[];
  /** Of the file, those made small among them. */
  pageCount: number;
  gamma: string;
  profile: string;
  /** Of the page: the scan made small. */
  before: ImageData;
}

/** Counts of 256 levels, red, green, blue. */
export type Histogram = Uint32Array;

export interface Updated {
  after: ImageData;
  kind: string;
  told: Told;
  measurements: Measurement[];
  /** Kinds that the scan may be of, where that is to be asked. */
  plausible: string[];
  frame: Frame | null;
  cut: Cut | null;
  histogram: Histogram;
  /** Of red, green, blue: levels of 8 bits. */
  tables: Uint8Array;
  /** Milliseconds of the work. */
  took: number;
}

export interface Region {
  before: ImageData;
  after: ImageData;
}

interface Entry {
  file: Blob;
  page: number;
  scan: Scan | null;
  encoding: Encoding;
  depth: 8 | 16;
  bands: number;
  gray: boolean;
  /** To the screen's; null: they are shown as they stand. */
  colours: Colours | null;
  proposal: Proposal | null;
}

// Scans whose pre-scans are kept: some 12 MB each.
const KEPT = 32;

const entries = new Map<number, Entry>();
const used: number[] = []; // the last one used last
let opened: { id: number; source: Source } | null = null;
let roll: Roll | null = null;
let loaded: Promise<Engine> | undefined;

function engine(): Promise<Engine> {
  loaded ??= (async () => {
    const answer = await fetch(new URL('../zep3.wasm', self.location.href));
    if (!answer.ok) throw new Error('the engine cannot be loaded');
    return Engine.load(await answer.arrayBuffer(), moreOfEngine);
  })();
  return loaded;
}

/** In the middle of a call, which waits for it: the page itself does not. */
function moreOfEngine(): ArrayBuffer {
  const request = new XMLHttpRequest();
  request.open('GET', new URL('../zep3-more.wasm', self.location.href), false);
  request.responseType = 'arraybuffer';
  request.send();
  if (request.status !== 200) throw new Error('the rest of the engine cannot be loaded');
  return request.response as ArrayBuffer;
}

// ---- scans ----

async function sourceOf(id: number, entry: Entry): Promise<Source> {
  if (opened?.id === id) return opened.source;
  opened?.source.close();
  opened = null;
  const source = await open(entry.file, entry.page);
  opened = { id, source };
  return source;
}

/** Pages that are not another page made small. */
async function picturesOf(file: Blob): Promise<number[]> {
  const { directoriesOf } = await import('./tiff_tags.ts');
  const directories = await directoriesOf(file);
  return directories.flatMap(({ reduced }, i) => (i > 0 && reduced ? [] : [i]));
}

function measure(scan: Scan, source: Source): void {
  scan.beginPrescan();
  const lines = scan.bandLines * Math.max(1, Math.floor((1 << 20) / (source.width * scan.bandLines)));
  for (let y = 0; y < source.height; y += lines) {
    const piece = source.piece(0, y, source.width, Math.min(lines, source.height - y));
    scan.addBand(piece, y, source.format, source.depth);
  }
}

function use(id: number): void {
  const at = used.indexOf(id);
  if (at >= 0) used.splice(at, 1);
  used.push(id);
  while (used.length > KEPT) {
    const entry = entries.get(used.shift()!);
    entry?.scan?.close();
    if (entry) [entry.scan, entry.proposal] = [null, null];
  }
}

function entryOf(id: number): Entry {
  const entry = entries.get(id);
  if (!entry) throw new Error('the scan is closed');
  return entry;
}

/** The scan with its pre-scan; its values have this gamma. */
async function measured(id: number, gamma: number): Promise<Scan> {
  const entry = entryOf(id);
  use(id);
  if (entry.scan && entry.scan.get('scan.fileGamma') === gamma) return entry.scan;
  entry.scan?.close();
  [entry.scan, entry.proposal] = [null, null];
  const source = await sourceOf(id, entry);
  const scan = (await engine()).scan(source.width, source.height, gamma);
  try {
    measure(scan, source);
  } catch (error) {
    scan.close();
    throw error;
  }
  entry.scan = scan;
  return scan;
}

/** The scan with the settings laid over its proposal. */
async function prepared(id: number, settings: Settings): Promise<{ scan: Scan; proposal: Proposal; fresh: boolean }> {
  const entry = entryOf(id);
  const scan = await measured(id, settings.repeated ? gammaIn(settings.repeated) : entry.encoding.gamma);
  const fresh = entry.proposal?.key !== analysisKey(settings);
  if (fresh || entry.proposal === null) {
    entry.proposal = null; // also where the analysis fails
    entry.proposal = await propose(scan, settings, roll);
  }
  lay(scan, settings, entry.proposal);
  return { scan, proposal: entry.proposal, fresh };
}

// ---- pictures ----

function small(scan: Scan, gray: boolean): { pixels: Uint8Array; format: 'gray' | 'rgb' } {
  const means = scan.means.slice();
  if (!gray) return { pixels: means, format: 'rgb' };
  return { pixels: means.filter((_, i) => i % 3 === 0), format: 'gray' };
}

/** The pre-scan with the correction that the scan holds. */
function corrected(scan: Scan, gray: boolean, chroma: number): ImageData {
  const { pixels, format } = small(scan, gray);
  scan.apply(pixels, scan.smallWidth, null, format, 8, chroma);
  return toScreen(pixels, scan.smallWidth, format, 8);
}

/** Made the profile's colours: histograms are to be counted before. */
function seen(image: ImageData, { colours }: Entry): ImageData {
  colours?.(image.data);
  return image;
}

async function coloursOf({ container }: Source): Promise<Colours | null> {
  const { profile, gray } = container;
  if (profile === null || /sRGB/i.test(nameOf(profile))) return null;
  const { coloursOf } = await import('./colours.ts');
  return coloursOf(profile, gray).catch(() => null); // a browser that takes no such profile
}

function histogramOf({ data }: ImageData): Histogram {
  const counts = new Uint32Array(768);
  const pixels = new Uint32Array(data.buffer);
  for (let i = 0; i < pixels.length; i++) {
    const pixel = pixels[i]!;
    counts[pixel & 255]!++;
    counts[256 + ((pixel >> 8) & 255)]!++;
    counts[512 + ((pixel >> 16) & 255)]!++;
  }
  return counts;
}

// ---- calls ----

const calls = {
  async kinds(): Promise<Kind[]> {
    return (await engine()).kinds;
  },

  async version(): Promise<string> {
    return (await engine()).version;
  },

  async open(id: number, file: Blob, page: number): Promise<Opened> {
    const entry: Entry = {
      file,
      page,
      scan: null,
      encoding: { gamma: SRGB_CURVE, from: '' },
      depth: 8,
      bands: 3,
      gray: false,
      colours: null,
      proposal: null,
    };
    const source = await sourceOf(id, entry);
    const pages = source.pages > 1 && page === 0 ? await picturesOf(file) : [page];
    entry.encoding = encodingOf(source.container);
    entry.colours = await coloursOf(source);
    [entry.depth, entry.bands, entry.gray] = [source.depth, source.bands, source.bands < 3];
    entries.set(id, entry);
    const scan = await measured(id, entry.encoding.gamma);
    const { pixels, format } = small(scan, entry.gray);
    return {
      width: source.width,
      height: source.height,
      orientation: source.container.orientation,
      depth: source.depth,
      bilevel: source.bilevel,
      pages,
      pageCount: source.pages,
      gamma: entry.encoding.gamma === SRGB_CURVE ? 'sRGB' : `gamma ${entry.encoding.gamma / 10}`,
      profile: entry.encoding.from,
      before: seen(toScreen(pixels, scan.smallWidth, format, 8), entry),
    };
  },

  close(id: number): void {
    entries.get(id)?.scan?.close();
    entries.delete(id);
    if (opened?.id === id) {
      opened.source.close();
      opened = null;
    }
  },

  /** judge: hold the result against the scan, which takes longer than to make it. */
  async update(id: number, settings: Settings, judge: boolean): Promise<Updated> {
    const start = performance.now();
    const { scan, proposal, fresh } = await prepared(id, settings);
    if ((judge || fresh) && isChanged(settings)) scan.judge();
    const after = corrected(scan, entryOf(id).gray, chromaOf(settings, proposal));
    const histogram = histogramOf(after);
    return {
      after: seen(after, entryOf(id)),
      kind: scan.kind,
      told: toldOf(scan, proposal.plausible),
      measurements: scan.measurements,
      plausible: proposal.plausible,
      frame: frameOf(settings, proposal),
      cut: cutFor(settings, proposal, scan.width, scan.height),
      histogram,
      tables: Uint8Array.from(scan.tables(256), (level) => Math.floor((level + 128) / 257)),
      took: performance.now() - start,
    };
  },

  /** The scan as it comes out as another kind. */
  async asKind(id: number, settings: Settings, kind: string): Promise<ImageData> {
    // The scan holds what this analysis met, so its proposal stays with it until another is asked for.
    const { scan, proposal } = await prepared(id, { ...settings, kind });
    return seen(corrected(scan, entryOf(id).gray, chromaOf(settings, proposal)), entryOf(id));
  },

  /** Pixels at 100 %. */
  async region(id: number, settings: Settings, x: number, y: number, width: number, height: number): Promise<Region> {
    const { scan, proposal } = await prepared(id, settings);
    const entry = entryOf(id);
    const source = await sourceOf(id, entry);
    const piece = source.piece(x, y, width, height);
    const before = seen(toScreen(piece, width, source.format, source.depth), entry);
    scan.apply(piece, width, [x, y], source.format, source.depth, chromaOf(settings, proposal));
    return { before, after: seen(toScreen(piece, width, source.format, source.depth), entry) };
  },

  /** The correction as a page of a sidecar. */
  async page(id: number, settings: Settings): Promise<SidecarPage> {
    const { scan, proposal } = await prepared(id, settings);
    if (isChanged(settings)) scan.judge();
    const { bands, depth, encoding } = entryOf(id);
    return pageOf(scan, {
      bits: depth,
      bands,
      gammaFrom: settings.repeated ? 'sidecar' : encoding.from,
      chroma: chromaOf(settings, proposal),
      adaptive: settings.analysis === 'adaptive',
      frame: frameOf(settings, proposal),
      cut: cutFor(settings, proposal, scan.width, scan.height),
      page: entryOf(id).page,
    });
  },

  /** What these scans share; false: too few belong together, or scans of the kind share nothing. */
  async roll(members: { id: number; frame: Corners | null }[], kind: string): Promise<boolean> {
    roll?.close();
    roll = null;
    const made = new Roll(await engine());
    for (const { id, frame } of members) {
      const scan = await measured(id, entryOf(id).encoding.gamma);
      entryOf(id).proposal = null;
      scan.reset(kind);
      layArea(scan, frame);
      if (!made.add(scan)) {
        made.close();
        return false;
      }
    }
    if (!made.solve()) {
      made.close();
      return false;
    }
    roll = made;
    return true;
  },

  async finish(file: Blob, pages: SidecarPage[], target: Target, whole: boolean): Promise<Finished> {
    const { finish } = await import('./finish.ts');
    return finish(await engine(), file, pages, target, whole, (share) => postMessage({ progress: share }));
  },
};

export type Calls = typeof calls;

function wordsOf(error: unknown): string {
  // libvips' own, which is no Error.
  if (String(error) === '[object WebAssembly.Exception]') {
    return 'there is not enough memory for this in the page: the program takes scans of any size';
  }
  return error instanceof Error ? error.message : String(error);
}

// One call after the other: they share the engine's records.
let last: Promise<unknown> = Promise.resolve();

self.onmessage = ({ data }: MessageEvent<{ number: number; name: keyof Calls; words: unknown[] }>) => {
  const { number, name, words } = data;
  last = last.then(async () => {
    try {
      const result = await (calls[name] as (...words: unknown[]) => unknown)(...words);
      postMessage({ number, result });
    } catch (error) {
      // What ran out of memory in the middle of a call answers no other.
      if (error instanceof WebAssembly.RuntimeError) return postMessage({ ended: true });
      postMessage({ number, error: wordsOf(error) });
    }
  });
};
