// Where the picture lies, and what is cut out: the same geometry as the program's, in pixels of the scan.
import type { Corners, Point } from './engine.ts';

/** A rectangle turned clockwise about its top left corner. */
export interface Cut {
  x: number;
  y: number;
  width: number;
  height: number;
  degrees: number;
}

// A picture that leans by less, over its length, is cut upright.
const UPRIGHT_LEAN = 1 / 1250;
// Margin inside of a found picture's soft edge, a share of its shorter side.
const SOFT_EDGE = -0.002;

const length = (a: Point, b: Point) => Math.hypot(b[0] - a[0], b[1] - a[1]);

export const widthOf = (c: Corners) => (length(c[0], c[1]) + length(c[3], c[2])) / 2;
export const heightOf = (c: Corners) => (length(c[0], c[3]) + length(c[1], c[2])) / 2;

/** Degrees, clockwise. */
export function tiltOf(c: Corners): number {
  const along = c[1][0] - c[0][0] + c[2][0] - c[3][0] + c[3][1] - c[0][1] + c[2][1] - c[1][1];
  const across = c[1][1] - c[0][1] + c[2][1] - c[3][1] - c[3][0] + c[0][0] - c[2][0] + c[1][0];
  return (Math.atan2(across, along) * 180) / Math.PI;
}

function place(cut: Cut, right: number, down: number): Point {
  const angle = (cut.degrees * Math.PI) / 180;
  const [cosine, sine] = [Math.cos(angle), Math.sin(angle)];
  return [cut.x + right * cosine - down * sine, cut.y + right * sine + down * cosine];
}

export const cornersOf = (cut: Cut): Corners => [
  place(cut, 0, 0),
  place(cut, cut.width, 0),
  place(cut, cut.width, cut.height),
  place(cut, 0, cut.height),
];

/** The rectangle of the corners' tilt, middle and mean lengths. */
export function rectangleOf(corners: Corners, degrees = tiltOf(corners)): Cut {
  const cut = { x: 0, y: 0, width: widthOf(corners), height: heightOf(corners), degrees };
  const back = place(cut, cut.width / 2, cut.height / 2);
  for (const [x, y] of corners) {
    cut.x += x / 4;
    cut.y += y / 4;
  }
  cut.x -= back[0];
  cut.y -= back[1];
  return cut;
}

interface Box {
  left: number;
  top: number;
  right: number;
  bottom: number;
}

export function boxOf(corners: Point[]): Box {
  const xs = corners.map(([x]) => x);
  const ys = corners.map(([, y]) => y);
  return { left: Math.min(...xs), top: Math.min(...ys), right: Math.max(...xs), bottom: Math.max(...ys) };
}

/** The whole pixels of the scan that the box covers by more than half. */
export function wholePixels(box: Box, width: number, height: number): Cut {
  const line = (at: number, end: number) => Math.round(Math.min(Math.max(at, 0), end));
  const [left, top] = [line(box.left, width), line(box.top, height)];
  return { x: left, y: top, width: line(box.right, width) - left, height: line(box.bottom, height) - top, degrees: 0 };
}

function inward(cut: Cut, by: number): Cut {
  const [x, y] = place(cut, by, by);
  return { ...cut, x, y, width: cut.width - 2 * by, height: cut.height - 2 * by };
}

/** The sides moved inward to where the scan has pixels along them. */
function within(cut: Cut, width: number, height: number): Cut {
  const angle = (cut.degrees * Math.PI) / 180;
  const [cosine, sine] = [Math.cos(angle), Math.sin(angle)];
  const scan: Point[] = [
    [0, 0],
    [width, 0],
    [width, height],
    [0, height],
  ];
  const box = boxOf(
    scan.map(([u, v]) => {
      const [x, y] = [u - cut.x, v - cut.y];
      return [x * cosine + y * sine, y * cosine - x * sine];
    }),
  );
  const [left, top] = [Math.max(box.left, 0), Math.max(box.top, 0)];
  const [x, y] = place(cut, left, top);
  return {
    ...cut,
    x,
    y,
    width: Math.min(box.right, cut.width) - left,
    height: Math.min(box.bottom, cut.height) - top,
  };
}

/** What is cut out of a scan of this size; null where nothing is left. given: the corners are the person's. */
export function cutOf(
  corners: Corners,
  given: boolean,
  straighten: boolean,
  width: number,
  height: number,
): Cut | null {
  let degrees = tiltOf(corners);
  if ((Math.abs(degrees) * Math.PI) / 180 < UPRIGHT_LEAN) degrees = 0;
  const picture = rectangleOf(corners, degrees);
  const margin = given ? 0 : -SOFT_EDGE * Math.min(picture.width, picture.height);
  let cut = within(inward(picture, margin), width, height);
  if (!(cut.width > 0 && cut.height > 0)) return null;
  const around = wholePixels(boxOf(cornersOf(cut)), width, height);
  if (degrees === 0 || !straighten) cut = around;
  cut = { ...cut, width: Math.round(cut.width), height: Math.round(cut.height) };
  return Math.min(cut.width, cut.height, around.width, around.height) < 1 ? null : cut;
}

/** The corners from the top left one on, clockwise, whatever the order was. */
export function inOrder(points: Point[]): Corners {
  const middle = points.reduce(([x, y], p) => [x + p[0] / 4, y + p[1] / 4] as Point, [0, 0] as Point);
  const angle = ([x, y]: Point) => Math.atan2(y - middle[1], x - middle[0]);
  const sorted = [...points].sort((a, b) => angle(a) - angle(b));
  const rightward = (i: number) => {
    const [from, to] = [sorted[i]!, sorted[(i + 1) % 4]!];
    return (to[0] - from[0]) / Math.max(length(from, to), 1e-9);
  };
  let first = 0;
  for (let i = 1; i < 4; i++) if (rightward(i) > rightward(first)) first = i;
  return [0, 1, 2, 3].map((i) => sorted[(first + i) % 4]!) as Corners;
}

/** The engine's analysis area: leftmost, topmost, rightmost and lowest corner, on the pre-scan. */
export function areaOf(corners: Corners, shrink: number): Record<'left' | 'top' | 'right' | 'bottom', Point> {
  const small = corners.map(([x, y]) => [Math.round(x / shrink), Math.round(y / shrink)] as Point);
  const box = boxOf(small);
  const upright = small.every(([x, y]) => (x === box.left || x === box.right) && (y === box.top || y === box.bottom));
  const first: Point = [box.left, box.top];
  const last: Point = [box.right, box.bottom];
  const distinct = new Set([
    ...[0, 1].flatMap((axis) => [small.findIndex((p) => p[axis] === (axis ? box.top : box.left))]),
    ...[0, 1].flatMap((axis) => [small.findIndex((p) => p[axis] === (axis ? box.bottom : box.right))]),
  ]);
  if (upright || distinct.size < 4) return { left: first, top: first, right: last, bottom: last };
  const least = (axis: 0 | 1) => small.reduce((a, b) => (b[axis] < a[axis] ? b : a));
  const most = (axis: 0 | 1) => small.reduce((a, b) => (b[axis] > a[axis] ? b : a));
  return { left: least(0), top: least(1), right: most(0), bottom: most(1) };
}
