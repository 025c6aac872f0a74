// Photographers' units as whole density steps of the record, as the program makes them of --exposure, --warmth, --tint.

const STEP = 0.003; // of density
const WEIGHTS = [0.2126, 0.7152, 0.0722]; // Rec. 709

export type Three = [number, number, number];

// Away from zero, as the C library rounds.
const nearest = (value: number): number => (value < 0 ? -Math.round(-value) : Math.round(value)) + 0;

const stepsExactly = (stops: number): number => (stops * Math.log10(2)) / STEP;

/** Of a gray whose channels become lighter by so many steps; 1: as it was. */
const luminance = (steps: Three): number =>
  WEIGHTS.reduce((sum, weight, c) => sum + weight * 10 ** (STEP * steps[c]!), 0);

export const stepsOfStops = (stops: number): number => nearest(stepsExactly(stops));

export const stopsOfSteps = (steps: number): number => (steps * STEP) / Math.log10(2);

/** Red gains `warmth` over blue, both `tint` over green; a gray keeps its luminance. */
export function balanceOfStops(warmth: number, tint: number): Three {
  const exact = [(warmth + tint) / 2, -tint / 2, (tint - warmth) / 2].map(stepsExactly) as Three;
  const lighter = Math.log10(luminance(exact)) / STEP;
  let best: Three = [0, 0, 0];
  let least = Infinity;
  for (let up = 0; up < 8; up++) {
    const whole = exact.map((steps, c) => ((up >> c) & 1 ? Math.ceil(steps - lighter) : Math.floor(steps - lighter)));
    const error = Math.abs(luminance(whole as Three) - 1);
    if (error < least) [best, least] = [whole.map((steps) => steps + 0) as Three, error];
  }
  return best;
}
