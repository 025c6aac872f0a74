// What a person wants of a scan, and the parts of it that are copied from one scan to others.
import type { Corners, Point } from './engine.ts';
import type { SidecarPage } from './sidecar.ts';

export type Curves = [Point[] | null, Point[] | null, Point[] | null, Point[] | null];

export interface Settings {
  /** A kind of original by the library's name, or 'auto': a guess. */
  kind: string;
  analysis: 'adaptive' | 'standard';
  strength: number;
  /** Eighths. */
  backlight: number;
  /** Documents are evened by their paper. */
  even: boolean;
  /** With what the scans of the roll share. */
  roll: boolean;
  /** Stops, also warmth and tint. */
  exposure: number;
  contrast: number;
  warmth: number;
  tint: number;
  /** Percent more or less than the analysis proposes. */
  saturation: number;
  /** All channels, red, green, blue; null: what the analysis proposes. */
  curves: Curves;
  /** A place on the scan that is to become gray. */
  gray: Point | null;
  /** Corners that were dragged; null: the picture that was found. */
  frame: Corners | null;
  crop: boolean;
  straighten: boolean;
  /** A correction that is repeated in place of an analysis. */
  repeated: SidecarPage | null;
}

export const START: Settings = {
  kind: 'auto',
  analysis: 'adaptive',
  strength: 4,
  backlight: 0,
  even: true,
  roll: false,
  exposure: 0,
  contrast: 0,
  warmth: 0,
  tint: 0,
  saturation: 0,
  curves: [null, null, null, null],
  gray: null,
  frame: null,
  crop: false,
  straighten: true,
  repeated: null,
};

/** For other scans: all but places, which belong to one scan. */
export function forOthers(settings: Settings, theirs: Settings): Settings {
  return { ...settings, gray: theirs.gray, frame: theirs.frame };
}

/** Of the settings, those that a new analysis depends on. */
export function analysisKey(settings: Settings): string {
  const { kind, analysis, strength, backlight, even, roll, frame, repeated } = settings;
  return JSON.stringify([kind, analysis, strength, backlight, even, roll, frame, repeated]);
}
