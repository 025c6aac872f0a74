// A scan that is seen otherwise than it is stored: the eight orientations that EXIF has. Places everywhere else are
// those of the stored scan, as the program and sidecars count them.
import type { Point } from './engine.ts';

/** What a stored place becomes: x to a x + c y + e, y to b x + d y + f; e and f in widths and heights of what is seen. */
const ORIENTATIONS = [
  [1, 0, 0, 1, 0, 0],
  [-1, 0, 0, 1, 1, 0],
  [-1, 0, 0, -1, 1, 1],
  [1, 0, 0, -1, 0, 1],
  [0, 1, 1, 0, 0, 0],
  [0, 1, -1, 0, 1, 0],
  [0, -1, -1, 0, 1, 1],
  [0, -1, 1, 0, 0, 1],
] as const;

interface Box {
  x: number;
  y: number;
  width: number;
  height: number;
}

export class Turn {
  /** Of what is seen. */
  readonly width: number;
  readonly height: number;
  private readonly matrix: readonly [number, number, number, number, number, number];

  constructor(orientation: number, width: number, height: number) {
    const [a, b, c, d, e, f] = ORIENTATIONS[orientation - 1] ?? ORIENTATIONS[0];
    [this.width, this.height] = a === 0 ? [height, width] : [width, height];
    this.matrix = [a, b, c, d, e * this.width, f * this.height];
  }

  seen([x, y]: Point): Point {
    const [a, b, c, d, e, f] = this.matrix;
    return [a * x + c * y + e, b * x + d * y + f];
  }
  stored([x, y]: Point): Point {
    const [, , , , e, f] = this.matrix;
    return this.storedStep([x - e, y - f]);
  }
  storedStep([x, y]: Point): Point {
    const [a, b, c, d] = this.matrix;
    return [a * x + b * y, c * x + d * y];
  }
  storedBox({ x, y, width, height }: Box): Box {
    const [from, to] = [this.stored([x, y]), this.stored([x + width, y + height])];
    const [left, top] = [Math.min(from[0], to[0]), Math.min(from[1], to[1])];
    return { x: left, y: top, width: Math.abs(to[0] - from[0]), height: Math.abs(to[1] - from[1]) };
  }
  /** For style sheets and canvases, of a scan drawn at this scale. */
  transform(scale: number): [number, number, number, number, number, number] {
    const [a, b, c, d, e, f] = this.matrix;
    return [a, b, c, d, e * scale, f * scale];
  }
}
