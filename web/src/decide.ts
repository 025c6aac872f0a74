// From a scan and what a person wants to its correction.
import { Engine, EngineError, type Corners, type Reason, type Roll, type Scan, type ToneIndex } from './engine.ts';
import { areaOf, cutOf, type Cut } from './frame.ts';
import { putRecord, recordOf, repeat, type Frame, type Record_ } from './sidecar.ts';
import { analysisKey, type Settings } from './settings.ts';
import { balanceOfStops, stepsOfStops } from './stops.ts';

const MOST_CHROMA = 10;
// Below this a window is more likely none than one, and cutting loses a picture.
const CUT_CONFIDENCE = 0.5;
const AREA_CORNERS = ['left', 'top', 'right', 'bottom'] as const;

/** What an analysis proposed. */
export interface Proposal {
  key: string;
  record: Record_;
  /** Before the person's share. */
  chroma: number;
  found: Frame | null;
  reasons: number;
  verdict: number;
  /** Kinds that the scan may be of, where that is to be asked. */
  plausible: string[];
}

/** Of the analysis itself. */
const judged = (scan: Scan) => ({ reasons: scan.get('evidence.reasons'), verdict: scan.get('evidence.verdict') });

// What a guess asks for. Pictures lose more as documents than documents as pictures: for those most must be paper.
const SURE_PAGE = 0.9;
const MOSTLY_PAPER = 0.6;
const SURELY_FADED = 0.9;
const LIKELY = 0.5;
const LIGHTEST_SHARE = 0.05;
const MOSTLY_LIGHT = 2 / 3;
/** Natural logarithm of the odds for a negative; faded prints and pages reach -2, film on a light table -1.6. */
const SURELY_POSITIVE = -5;
/** Likewise; the engine says so of a print or slide from here on. */
const SURELY_NEGATIVE = 4.2;
/** Mean difference of channels, linear levels, below which a scan has no colours. */
const GRAY = 4;

function isGray(scan: Scan): boolean {
  const { levels } = scan;
  let sum = 0;
  for (let i = 0; i < levels.length; i += 3) {
    const [red, green, blue] = [levels[i]!, levels[i + 1]!, levels[i + 2]!];
    sum += Math.max(red, green, blue) - Math.min(red, green, blue);
  }
  return sum / (levels.length / 3) < GRAY;
}

/** Whether paper can cover most of the scan: most of it is at least half as light as what is lightest. */
function isMostlyLight(scan: Scan): boolean {
  const counts = new Uint32Array(256);
  const { levels } = scan;
  for (let i = 1; i < levels.length; i += 3) counts[levels[i]!]!++; // green
  const pixels = levels.length / 3;
  const from = (level: number) => counts.subarray(level).reduce((sum, count) => sum + count, 0) / pixels;
  let lightest = 255;
  while (lightest > 0 && from(lightest) < LIGHTEST_SHARE) lightest--;
  return from(Math.ceil(lightest / 2)) >= MOSTLY_LIGHT;
}

export interface Guess {
  kind: string;
  /** Kinds that it may as well be, itself among them; empty where nothing speaks for another. */
  plausible: string[];
}

/** A kind that the scan may be of. Never sure: the person has the last word. */
export function guessKind(scan: Scan): Guess {
  const begin = (kind: string): void => scan.reset(kind);
  const measured = (name: string): number => scan.measurements.find((item) => item.name === name)?.values[0] ?? 0;
  const confidence = (): number => scan.get('evidence.confidence');

  begin('faded-print');
  scan.analyse(true, true, null);
  const faded = measured('trust') >= SURELY_FADED && confidence() >= LIKELY;
  const looksNegative = scan.reasons.some(({ code }) => code === 'looks-negative');
  begin('negative');
  const odds = scan.negativeOdds;
  const negatives = isGray(scan) ? ['bw-negative'] : ['negative', 'bw-negative'];
  const sure = (kind: string): Guess => ({ kind, plausible: [] });
  if (looksNegative && odds > SURELY_NEGATIVE) return sure(negatives[0]!);
  // Else its perforations tell: it is film, which may be of slides.
  if (looksNegative) {
    const film = odds > SURELY_POSITIVE ? [...negatives, 'slide'] : ['slide', ...negatives];
    return { kind: film[0]!, plausible: film };
  }

  // Film on a light table is light, too.
  const isDocument = (): boolean => {
    begin('document');
    scan.analyse(true, true, null);
    return scan.cells.length > 0 && confidence() >= SURE_PAGE && measured('paper') >= MOSTLY_PAPER;
  };
  if (odds < 0 && isMostlyLight(scan) && isDocument()) return sure('document');
  const positives = faded ? ['faded-print', 'faded-slide'] : ['photo', 'slide'];
  if (odds < SURELY_POSITIVE) return { kind: positives[0]!, plausible: faded ? positives : [] };
  const plausible = odds > 0 ? [...negatives, ...positives] : [...positives, ...negatives];
  return { kind: plausible[0]!, plausible };
}

/** What an analysis looks at: within these corners, or all of the scan. */
export function layArea(scan: Scan, corners: Corners | null): void {
  const { smallWidth: width, smallHeight: height } = scan;
  const area = corners
    ? areaOf(corners, scan.shrink)
    : { left: [0, 0], top: [0, 0], right: [width, height], bottom: [width, height] };
  for (const name of AREA_CORNERS) {
    scan.set(`area.${name}.x`, area[name][0]!);
    scan.set(`area.${name}.y`, area[name][1]!);
  }
}

function foundFrame(scan: Scan): Frame | null {
  const corners = scan.window(false);
  if (corners === null) return null;
  return {
    from: 'scan',
    corners,
    confidence: scan.get('evidence.windowConfidence'),
    paper: scan.window(true),
    pictures: Math.max(scan.get('evidence.frames'), 1),
  };
}

/** The analysis that the settings ask for. */
export async function propose(scan: Scan, settings: Settings, roll: Roll | null): Promise<Proposal> {
  const key = analysisKey(settings);
  layArea(scan, settings.repeated ? null : settings.frame);
  if (settings.repeated) {
    const page = settings.repeated;
    await repeat(page, scan);
    const same = page.width === scan.width && page.height === scan.height;
    return {
      key,
      record: page.record,
      chroma: page.chroma,
      found: same ? page.frame : null,
      plausible: [],
      ...judged(scan),
    };
  }
  const { kind, plausible } =
    settings.kind === 'auto' ? guessKind(scan) : { kind: settings.kind, plausible: [] as string[] };
  scan.reset(kind);
  scan.set('lCorrectLevel', settings.strength);
  scan.set('lAgainstLight', settings.backlight);
  // What a roll shares is the adaptive analysis' own.
  const adaptive = settings.analysis === 'adaptive';
  scan.analyse(adaptive, settings.even, adaptive && settings.roll ? roll : null);
  return { key, record: recordOf(scan), chroma: scan.chroma, found: foundFrame(scan), plausible, ...judged(scan) };
}

/** Whether anything came to a proposal that its analysis has not judged. */
export function isChanged(settings: Settings): boolean {
  const { repeated, exposure, contrast, warmth, tint, saturation, curves, gray } = settings;
  return [repeated, exposure, contrast, warmth, tint, saturation, gray, ...curves].some(Boolean);
}

/** Lays the person's values over a proposal. Throws where the pipette's place is too dark. */
export function lay(scan: Scan, settings: Settings, proposal: Proposal): void {
  putRecord(proposal.record, scan);
  const { record } = proposal;
  if (!isChanged(settings)) {
    scan.set('evidence.reasons', proposal.reasons);
    scan.set('evidence.verdict', proposal.verdict);
  }
  const warm = balanceOfStops(settings.warmth, settings.tint);
  scan.set('lBrightness', record.lBrightness + stepsOfStops(settings.exposure));
  scan.set('lContrast', Math.max(-99, Math.min(99, record.lContrast + settings.contrast)));
  scan.set('lColorBalanceR', record.lColorBalanceR + warm[0]);
  scan.set('lColorBalanceG', record.lColorBalanceG + warm[1]);
  scan.set('lColorBalanceB', record.lColorBalanceB + warm[2]);
  settings.curves.forEach((points, which) => {
    if (points) scan.setTone(which as ToneIndex, points);
  });
  if (settings.gray && !scan.makeGray(settings.gray[0], settings.gray[1], 100)) {
    throw new EngineError('the place for gray is too dark to be made gray: pick a lighter one');
  }
}

export const chromaOf = (settings: Settings, proposal: Proposal): number =>
  Math.min(proposal.chroma * (1 + settings.saturation / 100), MOST_CHROMA);

/** Dragged corners, or the picture that was found. */
export function frameOf(settings: Settings, proposal: Proposal): Frame | null {
  if (settings.frame === null) return proposal.found;
  return { from: 'area', corners: settings.frame, confidence: 1, paper: null, pictures: 1 };
}

export function cutFor(settings: Settings, proposal: Proposal, width: number, height: number): Cut | null {
  const frame = frameOf(settings, proposal);
  if (!settings.crop || frame === null || frame.confidence < CUT_CONFIDENCE) return null;
  return cutOf(frame.corners, frame.from === 'area', settings.straighten, width, height);
}

export interface Told {
  /** ask: the person is to say what it is. */
  verdict: 'good' | 'look' | 'failed' | 'ask' | '';
  confidence: number;
  adaptive: boolean;
  reasons: Reason[];
}

const VERDICTS = ['', 'good', 'look', 'failed'] as const;

export function toldOf(scan: Scan, plausible: string[]): Told {
  return {
    verdict: plausible.length > 0 ? 'ask' : (VERDICTS[scan.get('evidence.verdict')] ?? ''),
    confidence: scan.get('evidence.confidence'),
    adaptive: scan.get('evidence.analysis') !== 0,
    reasons: scan.reasons,
  };
}

export { Engine };
