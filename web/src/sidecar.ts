// Corrections as JSON, as the program writes and reads them: zep3 --sidecar and --use-sidecar.
import { SRGB_CURVE, type Corners, type Point, type Scan, type ToneIndex } from './engine.ts';
import type { Cut } from './frame.ts';
import { deflated, inflated } from './zlib.ts';

export const FORMAT = 'zep3-correction';
const FORMAT_VERSION = 1;
export const CHANNELS = ['red', 'green', 'blue'] as const;
const SURFACES = ['none', 'paper', 'reverse'];
const VERDICTS = [null, 'good', 'look', 'failed'];

const RECORD_FIELDS = [
  'wDocType',
  'wSubMode',
  'wDocOption',
  'lScreenGamma',
  'wHlCurveType',
  'wSdCurveType',
  'lBrightness',
  'lContrast',
  'lColorBalanceR',
  'lColorBalanceG',
  'lColorBalanceB',
  'lSaturation',
  'lLevelFlag',
  'lCorrectLevel',
  'lAgainstLight',
] as const;
const POINT_FIELDS = ['lHlIn', 'lSdIn', 'lHlOut', 'lSdOut', 'lGamma'] as const;
const MATRIX = [0, 1, 2, 3, 4, 5, 6, 7, 8];
const SURFACE_NUMBERS = ['left', 'top', 'side', 'columns', 'rows'] as const;
const SURFACE_SHARES = ['objectShadow', 'objectGamma', 'whiteFrom', 'whiteTo'] as const;

type Channels<T> = Record<(typeof CHANNELS)[number], T>;

export type Record_ = Record<(typeof RECORD_FIELDS)[number], number> & {
  points: Channels<Record<(typeof POINT_FIELDS)[number], number>>;
  masterTone: Point[];
  tone: Channels<Point[]>;
};

export interface Frame {
  from: 'scan' | 'area';
  corners: Corners;
  confidence: number;
  paper: Corners | null;
  pictures: number;
}

export type Surface = Record<(typeof SURFACE_NUMBERS)[number] | (typeof SURFACE_SHARES)[number], number> & {
  found: string;
  paper: number[];
  objectTint: number[];
  cells?: string;
};

export interface SidecarPage {
  page: number;
  verdict: string | null;
  analysis: {
    asked: string;
    used: string;
    confidence: number;
    reasons: { code: string; text: string }[];
    evidences: Record<string, number | null | (number | null)[]>;
  } | null;
  surface: Surface | null;
  frame: Frame | null;
  crop: { left: number; top: number; width: number; height: number; tilt: number } | null;
  kind: string;
  width: number;
  height: number;
  bands: number;
  bits: number;
  inputGamma10: number | 'sRGB';
  inputGammaFrom: string;
  chroma: number;
  record: Record_;
  matrix: number[] | null;
  tables: Channels<number[]>;
}

export interface Sidecar {
  format: string;
  formatVersion: number;
  versions: Record<string, string>;
  scan: string;
  /** It lies beside its result, which took the scan's place. */
  inPlace?: boolean;
  pages: SidecarPage[];
}

// ---- a page's paper, whose cells are nearly alike: differences of their bits, sorted by significance ----

const PLANES = 16;
const NUMBERS = 4; // red, green over red, blue over red, what lies there

function numbersOf(bits: Uint32Array, cell: number): number[] {
  const [red, green, blue, lies] = bits.subarray(NUMBERS * cell, NUMBERS * cell + NUMBERS);
  return [red!, (green! - red!) >>> 0, (blue! - red!) >>> 0, lies!];
}

/** What a cell would hold on a plane through those on its left and above. */
function expected(bits: Uint32Array, cell: number, columns: number): number[] {
  const first = cell % columns === 0;
  if (cell < columns) return first ? [0, 0, 0, 0] : numbersOf(bits, cell - 1);
  const above = numbersOf(bits, cell - columns);
  if (first) return above;
  const left = numbersOf(bits, cell - 1);
  const corner = numbersOf(bits, cell - columns - 1);
  return left.map((value, n) => (value + above[n]! - corner[n]!) >>> 0);
}

export async function packCells(cells: Uint8Array, columns: number): Promise<string> {
  const bits = new Uint32Array(cells.slice().buffer);
  const count = bits.length / NUMBERS;
  const planes = new Uint8Array(PLANES * count);
  for (let i = 0; i < count; i++) {
    const before = expected(bits, i, columns);
    numbersOf(bits, i).forEach((now, n) => {
      const difference = (now - before[n]!) | 0;
      const folded = ((difference << 1) ^ (difference >> 31)) >>> 0;
      for (let byte = 0; byte < 4; byte++) planes[(4 * n + byte) * count + i] = folded >>> (24 - 8 * byte);
    });
  }
  let text = '';
  for (const byte of await deflated(planes)) text += String.fromCharCode(byte);
  return btoa(text);
}

export async function unpackCells(text: string, columns: number, count: number): Promise<Uint8Array> {
  const packed = Uint8Array.from(atob(text), (letter) => letter.charCodeAt(0));
  const planes = await inflated(packed);
  if (planes.length !== PLANES * count) throw new Error("'cells' are damaged");
  const bits = new Uint32Array(NUMBERS * count);
  for (let i = 0; i < count; i++) {
    const numbers = expected(bits, i, columns).map((value, n) => {
      let folded = 0;
      for (let byte = 0; byte < 4; byte++) folded = ((folded << 8) | planes[(4 * n + byte) * count + i]!) >>> 0;
      return (value + ((folded >>> 1) ^ -(folded & 1))) >>> 0;
    });
    const [red, green, blue, lies] = numbers as [number, number, number, number];
    bits.set([red, red + green, red + blue, lies], NUMBERS * i);
  }
  return new Uint8Array(bits.buffer);
}

// ---- writing ----

export interface AroundPage {
  bits: number;
  bands: number;
  gammaFrom: string;
  chroma: number;
  adaptive: boolean;
  frame: Frame | null;
  cut: Cut | null;
  /** Of the file, from 0. */
  page: number;
}

const toByte = (level16: number) => Math.floor((level16 + 128) / 257);
const finite = (value: number) => (Number.isFinite(value) ? value : null);
const perChannel = <T>(make: (index: number) => T): Channels<T> => ({ red: make(0), green: make(1), blue: make(2) });

export function recordOf(scan: Scan): Record_ {
  const fields = Object.fromEntries(RECORD_FIELDS.map((name) => [name, scan.get(name)]));
  const points = perChannel((c) =>
    Object.fromEntries(POINT_FIELDS.map((name) => [name, scan.get(`points.${CHANNELS[c]}.${name}`)])),
  );
  const tone = perChannel((c) => scan.tone((c + 1) as ToneIndex));
  return { ...fields, points, masterTone: scan.tone(0), tone } as Record_;
}

async function surfaceOf(scan: Scan): Promise<Surface | null> {
  const { cells } = scan;
  if (cells.length === 0) return null;
  const numbers = [...SURFACE_NUMBERS, ...SURFACE_SHARES].map((name) => [name, scan.get(`surface.${name}`)]);
  const three = (name: string) => [0, 1, 2].map((c) => scan.get(`surface.${name}.${c}`));
  return {
    ...Object.fromEntries(numbers),
    found: SURFACES[scan.get('surface.found')]!,
    paper: three('paper'),
    objectTint: three('objectTint'),
    cells: await packCells(cells, scan.get('surface.columns')),
  };
}

/** The scan's correction as it stands. */
export async function pageOf(scan: Scan, around: AroundPage): Promise<SidecarPage> {
  const tables = scan.tables(256);
  const evidences = scan.measurements.map(({ name, values }) => [
    name,
    values.length === 1 ? finite(values[0]!) : values.map(finite),
  ]);
  const { cut } = around;
  return {
    page: around.page,
    verdict: VERDICTS[scan.get('evidence.verdict')] ?? null,
    analysis: {
      asked: around.adaptive ? 'adaptive' : 'standard',
      used: scan.get('evidence.analysis') !== 0 ? 'adaptive' : 'standard',
      confidence: scan.get('evidence.confidence'),
      reasons: scan.reasons.map(({ code, text }) => ({ code, text })),
      evidences: Object.fromEntries(evidences),
    },
    surface: await surfaceOf(scan),
    frame: around.frame,
    crop: cut && { left: cut.x, top: cut.y, width: cut.width, height: cut.height, tilt: cut.degrees },
    kind: scan.kind,
    width: scan.width,
    height: scan.height,
    bands: around.bands,
    bits: around.bits,
    inputGamma10: scan.get('scan.gamma') === SRGB_CURVE ? 'sRGB' : scan.get('scan.gamma'),
    inputGammaFrom: around.gammaFrom,
    chroma: around.chroma,
    record: recordOf(scan),
    matrix: scan.get('matrix.given') === 0 ? null : MATRIX.map((i) => scan.get(`matrix.${i}`)),
    tables: perChannel((c) => [...tables.subarray(256 * c, 256 * (c + 1))].map(toByte)),
  };
}

export function sidecarOf(scanName: string, pages: SidecarPage[], engineVersion: string): string {
  const sidecar: Sidecar = {
    format: FORMAT,
    formatVersion: FORMAT_VERSION,
    versions: { zep3: __VERSION__, engine: engineVersion },
    scan: scanName,
    pages,
  };
  return `${JSON.stringify(sidecar, null, 1)}\n`;
}

// ---- reading ----

export const gammaIn = ({ inputGamma10 }: SidecarPage) => (inputGamma10 === 'sRGB' ? SRGB_CURVE : inputGamma10);

export function readSidecar(text: string): Sidecar {
  let sidecar: Sidecar;
  try {
    sidecar = JSON.parse(text) as Sidecar;
  } catch {
    throw new Error('is no JSON');
  }
  if (sidecar.format !== FORMAT) throw new Error('is no correction of zep3');
  if (sidecar.formatVersion !== FORMAT_VERSION) throw new Error(`has format version ${sidecar.formatVersion}, not 1`);
  if (!Array.isArray(sidecar.pages) || !sidecar.pages[0]?.record) throw new Error('holds no pages');
  return sidecar;
}

/** Of a scan's page, as the program takes it: one page stands for all. */
export function pageIn({ pages }: Sidecar, number: number): SidecarPage | undefined {
  return pages.length === 1 ? pages[0] : pages.find(({ page }) => page === number);
}

export function putRecord(record: Record_, scan: Scan): void {
  for (const name of RECORD_FIELDS) scan.set(name, record[name]);
  for (const channel of CHANNELS) {
    for (const name of POINT_FIELDS) scan.set(`points.${channel}.${name}`, record.points[channel][name]);
  }
  scan.setTone(0, record.masterTone);
  CHANNELS.forEach((channel, c) => scan.setTone((c + 1) as ToneIndex, record.tone[channel]));
}

/** The record, and a page's paper where it is of this scan's size. */
export async function repeat(page: SidecarPage, scan: Scan): Promise<void> {
  const { record, surface } = page;
  scan.reset('photo');
  putRecord(record, scan);
  page.matrix?.forEach((value, i) => scan.set(`matrix.${i}`, value));
  scan.set('matrix.given', page.matrix ? 1 : 0);
  if (page.analysis) {
    scan.setReasons(page.analysis.reasons.map(({ code }) => code));
    scan.set('evidence.analysis', page.analysis.used === 'adaptive' ? 1 : 0);
    scan.set('evidence.confidence', page.analysis.confidence);
  }
  if (!surface?.cells || page.width !== scan.width || page.height !== scan.height) return;
  for (const name of [...SURFACE_NUMBERS, ...SURFACE_SHARES]) scan.set(`surface.${name}`, surface[name]);
  scan.set('surface.found', SURFACES.indexOf(surface.found));
  for (let c = 0; c < 3; c++) {
    scan.set(`surface.paper.${c}`, surface.paper[c]!);
    scan.set(`surface.objectTint.${c}`, surface.objectTint[c]!);
  }
  scan.setCells(await unpackCells(surface.cells, surface.columns, surface.columns * surface.rows));
}
