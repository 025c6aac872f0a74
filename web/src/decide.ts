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
}

/** Of the analysis itself. */
const judged = (scan: Scan) => ({ reasons: scan.get('evidence.reasons'), verdict: scan.get('evidence.verdict') });

// What a guess asks for. Pictures lose more as documents than documents as pictures: for those most must be paper.
const SURE_PAGE = 0.9;
const MOSTLY_PAPER = 0.6;
const SURELY_FADED = 0.9;
const LIKELY = 0.5;
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

/** A kind that the scan may be of. Never sure: the person has the last word. */
export function guessKind(scan: Scan): string {
  const analyseAs = (kind: string): void => {
    scan.reset(kind);
    scan.set('lScreenGamma', scan.get('scan.gamma'));
    scan.analyse(true, true, null);
  };
  const measured = (name: string): number => scan.measurements.find((item) => item.name === name)?.values[0] ?? 0;
  const confidence = (): number => scan.get('evidence.confidence');

  analyseAs('faded-print');
  if (scan.reasons.some(({ code }) => code === 'looks-negative')) return isGray(scan) ? 'bw-negative' : 'negative';
  const faded = measured('trust') >= SURELY_FADED && confidence() >= LIKELY;
  analyseAs('document');
  if (scan.cells.length > 0 && confidence() >= SURE_PAGE && measured('paper') >= MOSTLY_PAPER) return 'document';
  return faded ? 'faded-print' : 'photo';
}

function layArea(scan: Scan, corners: Corners | null): void {
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
export function propose(scan: Scan, settings: Settings, roll: Roll | null): Proposal {
  const key = analysisKey(settings);
  layArea(scan, settings.repeated ? null : settings.frame);
  if (settings.repeated) {
    const page = settings.repeated;
    repeat(page, scan);
    const same = page.width === scan.width && page.height === scan.height;
    return { key, record: page.record, chroma: page.chroma, found: same ? page.frame : null, ...judged(scan) };
  }
  const kind = settings.kind === 'auto' ? guessKind(scan) : settings.kind;
  scan.reset(kind);
  scan.set('lScreenGamma', scan.get('scan.gamma'));
  scan.set('lCorrectLevel', settings.strength);
  scan.set('lAgainstLight', settings.backlight);
  scan.analyse(settings.analysis === 'adaptive', settings.even, settings.roll ? roll : null);
  return { key, record: recordOf(scan), chroma: scan.chroma, found: foundFrame(scan), ...judged(scan) };
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
  verdict: 'good' | 'look' | 'failed' | '';
  confidence: number;
  adaptive: boolean;
  reasons: Reason[];
}

const VERDICTS = ['', 'good', 'look', 'failed'] as const;

export function toldOf(scan: Scan): Told {
  return {
    verdict: VERDICTS[scan.get('evidence.verdict')] ?? '',
    confidence: scan.get('evidence.confidence'),
    adaptive: scan.get('evidence.analysis') !== 0,
    reasons: scan.reasons,
  };
}

export { Engine };
