// Histogram of the result, the tables, and curves to be drawn over them.
import { useEffect, useRef, useState } from 'preact/hooks';
import type uPlotType from 'uplot';
import type { Point } from './engine.ts';
import { set, type Scan } from './store.ts';
import { splineThrough } from './spline.ts';

const NAMES = ['All', 'Red', 'Green', 'Blue'];
const COLOURS = ['#888888', '#d03c3c', '#2f9a48', '#3d6fd6'];
const LEVELS = Array.from({ length: 256 }, (_, i) => i);
const POINTS_MOST = 16;
const IDENTITY: Point[] = [
  [0, 0],
  [255, 255],
];

/** Counts as heights of the plot: the highest but for the ends, where clipped levels pile up. */
function heights(counts: ArrayLike<number>, channel: number): number[] {
  const own = Array.from({ length: 256 }, (_, i) => counts[256 * channel + i]!);
  const top = Math.max(1, ...own.slice(2, 254));
  return own.map((count) => Math.min(255, (255 * count) / top));
}

function dataOf(scan: Scan, curve: Point[]): uPlotType.AlignedData {
  const { updated } = scan;
  const channels = [0, 1, 2];
  const histograms = channels.map((c) => (updated ? heights(updated.histogram, c) : LEVELS.map(() => 0)));
  const tables = channels.map((c) => (updated ? [...updated.tables.subarray(256 * c, 256 * (c + 1))] : LEVELS));
  return [LEVELS, ...histograms, ...tables, LEVELS.map(splineThrough(curve))];
}

const optionsOf = (uPlot: typeof uPlotType, side: number): uPlotType.Options => ({
  width: side,
  height: Math.round(side * 0.75),
  padding: [0, 0, 0, 0],
  legend: { show: false },
  cursor: { show: false },
  select: { show: false, left: 0, top: 0, width: 0, height: 0 },
  axes: [{ show: false }, { show: false }],
  scales: { x: { time: false, range: [0, 255] }, y: { range: [0, 255] } },
  series: [
    {},
    ...[1, 2, 3].map((c) => ({
      fill: `${COLOURS[c]}44`,
      width: 0,
      points: { show: false },
      paths: uPlot.paths.stepped!({ align: 1 }),
    })),
    ...[1, 2, 3].map((c) => ({ stroke: COLOURS[c], width: 1, points: { show: false } })),
    { stroke: COLOURS[0], width: 2, points: { show: false } },
  ],
});

export function Curves({ scan }: { scan: Scan }) {
  const [which, setWhich] = useState(0);
  const box = useRef<HTMLDivElement>(null);
  const plot = useRef<uPlotType | null>(null);
  const { settings } = scan;
  const own = settings.curves[which] ?? null;
  const points = own ?? settings.repeated?.record[which === 0 ? 'masterTone' : 'tone'] ?? null;
  const curve: Point[] = Array.isArray(points) && points.length >= 2 ? points : IDENTITY;
  const data = dataOf(scan, curve);

  useEffect(() => {
    let gone = false;
    const watch = new ResizeObserver(() => {
      const side = box.current?.clientWidth ?? 0;
      if (side > 0) plot.current?.setSize({ width: side, height: Math.round(side * 0.75) });
    });
    void Promise.all([import('uplot'), import('uplot/dist/uPlot.min.css')]).then(([{ default: uPlot }]) => {
      if (gone || !box.current) return;
      plot.current = new uPlot(optionsOf(uPlot, box.current.clientWidth), data, box.current);
      watch.observe(box.current);
    });
    return () => {
      gone = true;
      watch.disconnect();
      plot.current?.destroy();
      plot.current = null;
    };
  }, []);
  useEffect(() => plot.current?.setData(data), [scan.updated, settings.curves, which]);

  const put = (changed: Point[] | null) =>
    set(
      { curves: settings.curves.map((now, i) => (i === which ? changed : now)) as typeof settings.curves },
      `curve${which}`,
    );
  const place = (event: { clientX: number; clientY: number }): Point => {
    const { left, top, width, height } = box.current!.getBoundingClientRect();
    const level = (share: number) => Math.round(255 * Math.min(1, Math.max(0, share)));
    return [level((event.clientX - left) / width), level(1 - (event.clientY - top) / height)];
  };
  /** Between its neighbours, which it does not pass. */
  const move = (i: number, [x, y]: Point) => {
    const low = i === 0 ? 0 : curve[i - 1]![0] + 1;
    const high = i === curve.length - 1 ? 255 : curve[i + 1]![0] - 1;
    put(
      curve.map((point, at) => (at === i ? [Math.min(Math.max(x, low), high), Math.min(Math.max(y, 0), 255)] : point)),
    );
  };
  const add = (event: MouseEvent) => {
    const [x, y] = place(event);
    if (curve.length < POINTS_MOST && curve.every(([at]) => Math.abs(at - x) > 4)) {
      put([...curve, [x, y] as Point].sort((a, b) => a[0] - b[0]));
    }
  };
  const drag = (i: number) => (event: PointerEvent) => {
    event.stopPropagation();
    const handle = event.currentTarget as HTMLElement;
    handle.setPointerCapture(event.pointerId);
    handle.onpointermove = (moved) => move(i, place(moved));
    handle.onpointerup = () => (handle.onpointermove = null);
  };
  const remove = (i: number) => curve.length > 2 && put(curve.filter((_, at) => at !== i));
  const keys = (i: number) => (event: KeyboardEvent) => {
    const by = event.shiftKey ? 10 : 1;
    const step = { ArrowLeft: [-by, 0], ArrowRight: [by, 0], ArrowUp: [0, by], ArrowDown: [0, -by] }[event.key];
    if (event.key === 'Delete' || event.key === 'Backspace') return remove(i);
    if (!step) return;
    event.preventDefault();
    move(i, [curve[i]![0] + step[0]!, curve[i]![1] + step[1]!]);
  };
  const addInWidest = () => {
    let at = 0;
    for (let i = 1; i < curve.length - 1; i++) {
      if (curve[i + 1]![0] - curve[i]![0] > curve[at + 1]![0] - curve[at]![0]) at = i;
    }
    const x = Math.round((curve[at]![0] + curve[at + 1]![0]) / 2);
    if (curve.length < POINTS_MOST)
      put([...curve, [x, Math.round(splineThrough(curve)(x))] as Point].sort((a, b) => a[0] - b[0]));
  };

  return (
    <>
      <div class="group" role="group" aria-label="Curve of">
        {NAMES.map((name, i) => (
          <button aria-pressed={which === i} onClick={() => setWhich(i)}>
            {name}
          </button>
        ))}
      </div>
      <div class="curves" ref={box} onDblClick={add}>
        {curve.map(([x, y], i) => (
          <button
            class="point"
            data-arrows
            aria-label={`Point ${i + 1}: ${x} becomes ${y}; arrows move it`}
            style={{ left: `${(100 * x) / 255}%`, top: `${100 - (100 * y) / 255}%` }}
            onPointerDown={drag(i)}
            onDblClick={(event) => {
              event.stopPropagation();
              remove(i);
            }}
            onKeyDown={keys(i)}
          />
        ))}
      </div>
      <div class="group">
        <button onClick={addInWidest}>Add a point</button>
        <button disabled={own === null} onClick={() => put(null)}>
          As proposed
        </button>
      </div>
      <p class="quiet">
        Histogram of the result; thin lines: what becomes of the scan’s levels. Double click adds or removes a point.
      </p>
    </>
  );
}
