// The curve that the engine lays through points: a natural cubic spline, held within the scale, flat outside of them.
import type { Point } from './engine.ts';

/** Second derivatives at the points; 0 at both ends. */
function bends(points: Point[]): number[] {
  const n = points.length;
  const second = new Array<number>(n).fill(0);
  const carry = new Array<number>(n).fill(0);
  for (let i = 1; i < n - 1; i++) {
    const [a, b, c] = [points[i - 1]!, points[i]!, points[i + 1]!];
    const share = (b[0] - a[0]) / (c[0] - a[0]);
    const pivot = share * second[i - 1]! + 2;
    const slopes = (c[1] - b[1]) / (c[0] - b[0]) - (b[1] - a[1]) / (b[0] - a[0]);
    second[i] = (share - 1) / pivot;
    carry[i] = ((6 * slopes) / (c[0] - a[0]) - share * carry[i - 1]!) / pivot;
  }
  for (let i = n - 2; i > 0; i--) second[i] = second[i]! * second[i + 1]! + carry[i]!;
  second[n - 1] = 0;
  return second;
}

export function splineThrough(points: Point[]): (x: number) => number {
  const second = bends(points);
  const [first, last] = [points[0]!, points.at(-1)!];
  return (x) => {
    if (x <= first[0]) return first[1];
    if (x >= last[0]) return last[1];
    const i = points.findIndex(([at]) => at > x);
    const [low, high] = [points[i - 1]!, points[i]!];
    const step = high[0] - low[0];
    const [a, b] = [(high[0] - x) / step, (x - low[0]) / step];
    const bend = (((a ** 3 - a) * second[i - 1]! + (b ** 3 - b) * second[i]!) * (step * step)) / 6;
    return Math.min(255, Math.max(0, a * low[1] + b * high[1] + bend));
  };
}
