// The picture: before and after, near and far, with its corners, under a pipette.
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import type { Corners, Point } from './engine.ts';
import { cornersOf } from './frame.ts';
import { Picture } from './picture.tsx';
import { ask, change, set, titleOf, type Look, type Scan, type State } from './store.ts';
import { Turn } from './turn.ts';
import { fitted, shown, view, zoomed, type Placed } from './view.ts';
import type { Opened, Region } from './worker.ts';

const LOOKS: [Look, string][] = [
  ['slider', 'Slider'],
  ['side', 'Side by side'],
  ['after', 'After'],
  ['before', 'Before'],
];
const DETAIL_AFTER = 80; // milliseconds of rest
const DETAIL_MOST = 6e6; // pixels
const CLOSEST = 8;

interface Room {
  width: number;
  height: number;
}

function useRoom(element: { current: HTMLElement | null }): Room {
  const [room, setRoom] = useState<Room>({ width: 0, height: 0 });
  useLayoutEffect(() => {
    const watch = new ResizeObserver(() => {
      const { clientWidth: width, clientHeight: height } = element.current!;
      setRoom({ width, height });
    });
    watch.observe(element.current!);
    return () => watch.disconnect();
  }, []);
  return room;
}

interface Detail extends Region {
  x: number;
  y: number;
}

/** Pixels of the scan itself where the small picture is too coarse. */
function useDetail(scan: Scan, turn: Turn | null, placed: Placed | null, room: Room): Detail | null {
  const [detail, setDetail] = useState<Detail | null>(null);
  const { opened, updated, settings } = scan;
  useEffect(() => {
    setDetail(null);
    if (!placed || !opened || !turn || !updated || opened.before.width === opened.width) return;
    if (placed.scale * devicePixelRatio <= (1.05 * opened.before.width) / opened.width) return;
    const seen = shown(placed, room, turn.width, turn.height);
    const part = seen && turn.storedBox(seen);
    if (!part || part.width * part.height > DETAIL_MOST) return;
    let gone = false;
    const timer = setTimeout(async () => {
      const { x, y, width, height } = part;
      const found = await ask('region', scan.id, settings, x, y, width, height).catch(() => null);
      if (!gone && found) setDetail({ ...found, x: part.x, y: part.y });
    }, DETAIL_AFTER);
    return () => {
      gone = true;
      clearTimeout(timer);
    };
  }, [scan.id, settings, placed, room, updated === null]);
  return detail;
}

function Layer({
  scan,
  which,
  detail,
  turn,
  placed,
  cover,
}: {
  scan: Scan;
  which: 'before' | 'after';
  detail: Detail | null;
  turn: Turn;
  placed: Placed;
  cover?: number;
}) {
  const small = which === 'before' ? scan.opened?.before : scan.updated?.after;
  const style: Record<string, string> = cover === undefined ? {} : { clipPath: `inset(0 0 0 ${100 * cover}%)` };
  const near = placed.scale * devicePixelRatio >= 2 ? 'pixels' : '';
  return (
    <div class="layer" style={style}>
      <div class="stored" style={storedStyle(scan, turn, placed)}>
        <Picture pixels={small} class={`whole ${near}`} label={`${titleOf(scan)}, ${which}`} />
        {detail && (
          <Picture
            pixels={detail[which]}
            class={`detail ${near}`}
            style={{
              left: `${detail.x * placed.scale}px`,
              top: `${detail.y * placed.scale}px`,
              width: `${detail[which].width * placed.scale}px`,
              height: `${detail[which].height * placed.scale}px`,
            }}
          />
        )}
      </div>
    </div>
  );
}

const storedStyle = (scan: Scan, turn: Turn, { scale }: Placed): Record<string, string> => ({
  width: `${scan.opened!.width * scale}px`,
  height: `${scan.opened!.height * scale}px`,
  transform: `matrix(${turn.transform(scale).join()})`,
});

const pathOf = (corners: Point[]) => `M${corners.map(([x, y]) => `${x} ${y}`).join('L')}Z`;

/** The picture's corners, to be dragged or moved by arrows, and what a crop leaves out. */
function Frame({ scan, turn, placed, active }: { scan: Scan; turn: Turn; placed: Placed; active: boolean }) {
  const { opened, updated, settings } = scan;
  const { width, height } = opened!;
  const all: Corners = [
    [0, 0],
    [width, 0],
    [width, height],
    [0, height],
  ];
  const corners = updated?.frame?.corners ?? all;
  const move = (i: number, x: number, y: number) => {
    const place: Point = [Math.min(Math.max(x, 0), width), Math.min(Math.max(y, 0), height)];
    set({ frame: corners.map((corner, at) => (at === i ? place : corner)) as Corners });
  };
  const drag = (i: number) => (event: PointerEvent) => {
    event.stopPropagation();
    const handle = event.currentTarget as HTMLElement;
    handle.setPointerCapture(event.pointerId);
    const box = handle.parentElement!.getBoundingClientRect();
    handle.onpointermove = (moved) =>
      move(i, ...turn.stored([(moved.clientX - box.left) / placed.scale, (moved.clientY - box.top) / placed.scale]));
    handle.onpointerup = () => (handle.onpointermove = null);
  };
  const arrows = (i: number) => (event: KeyboardEvent) => {
    const by = (event.shiftKey ? 10 : 1) * Math.max(1, Math.round(width / 500));
    const step = { ArrowLeft: [-by, 0], ArrowRight: [by, 0], ArrowUp: [0, -by], ArrowDown: [0, by] }[event.key];
    if (!step) return;
    event.preventDefault();
    const [right, down] = turn.storedStep(step as Point);
    move(i, corners[i]![0] + right, corners[i]![1] + down);
  };
  const nameOf = (corner: Point) => {
    const [x, y] = turn.seen(corner);
    const middle = corners.map((each) => turn.seen(each)).reduce(([u, v], [p, q]) => [u + p / 4, v + q / 4], [0, 0]);
    return `${y < middle[1]! ? 'Top' : 'Bottom'} ${x < middle[0]! ? 'left' : 'right'}`;
  };
  const cut = settings.crop ? updated?.cut : null;
  return (
    <div class="stored over" style={storedStyle(scan, turn, placed)}>
      <svg class="frame" viewBox={`0 0 ${width} ${height}`} aria-hidden="true">
        {cut && <path class="outside" d={pathOf(all) + pathOf(cornersOf(cut))} fill-rule="evenodd" />}
        {(active || updated?.frame) && <path class="edge" d={pathOf(corners)} vector-effect="non-scaling-stroke" />}
      </svg>
      {active &&
        corners.map(([x, y], i) => (
          <button
            class="corner"
            data-arrows
            aria-label={`${nameOf([x, y])} corner, ${Math.round(x)}, ${Math.round(y)}; arrows move it`}
            style={{ left: `${x * placed.scale}px`, top: `${y * placed.scale}px` }}
            onPointerDown={drag(i)}
            onKeyDown={arrows(i)}
          />
        ))}
    </div>
  );
}

function sizeOf({ orientation, width, height, depth }: Opened): string {
  const seen = new Turn(orientation, width, height);
  return `${seen.width} × ${seen.height}, ${depth} bits`;
}

function Bar({ state, scan, percent }: { state: State; scan: Scan; percent: number }) {
  const hold = (held: boolean) => () => change({ held });
  return (
    <div class="bar">
      <div class="group" role="group" aria-label="Look">
        {LOOKS.map(([look, text]) => (
          <button aria-pressed={state.look === look} onClick={() => change({ look })}>
            {text}
          </button>
        ))}
      </div>
      <button
        class="hold"
        onPointerDown={hold(true)}
        onPointerUp={hold(false)}
        onPointerLeave={hold(false)}
        onKeyDown={(event) => event.key === 'Enter' && change({ held: true })}
        onKeyUp={(event) => event.key === 'Enter' && change({ held: false })}
      >
        Hold to compare
      </button>
      <div class="group" role="group" aria-label="Zoom">
        <button onClick={() => view.fit()}>Fit</button>
        <button onClick={() => view.full()}>100 %</button>
        <output aria-label="Zoom">{Math.round(percent)} %</output>
      </div>
      <span class="size">{scan.opened && sizeOf(scan.opened)}</span>
      <button aria-label="Keys" onClick={() => change({ help: true })}>
        ?
      </button>
    </div>
  );
}

export function Table({ state }: { state: State }) {
  const scan = state.scans.find(({ id }) => id === state.current)!;
  const stage = useRef<HTMLDivElement>(null);
  const whole = useRoom(stage);
  const { look, tool, held } = state;
  const side = look === 'side' && !held;
  const upright = whole.width < whole.height;
  const room = !side ? whole : upright ? { ...whole, height: whole.height / 2 } : { ...whole, width: whole.width / 2 };
  const [near, setNear] = useState<Placed | null>(null); // null: all of it
  const [split, setSplit] = useState(0.5);
  const { opened } = scan;
  const margin = 16;
  const inner = { width: Math.max(1, room.width - 2 * margin), height: Math.max(1, room.height - 2 * margin) };
  const turn = opened && new Turn(opened.orientation, opened.width, opened.height);
  const fit = turn && room.width > 0 ? fitted(turn.width, turn.height, inner) : null;
  const placed = near ?? (fit && { ...fit, x: fit.x + margin, y: fit.y + margin });
  const detail = useDetail(scan, turn, placed, room);
  useEffect(() => setNear(null), [scan.id, side]);

  const zoomTo = (scale: number, x = room.width / 2, y = room.height / 2) => {
    if (!placed || !fit) return;
    const held = Math.min(Math.max(scale, fit.scale), CLOSEST);
    setNear(held <= fit.scale * 1.001 ? null : zoomed(placed, held, x, y));
  };
  view.fit = () => setNear(null);
  view.full = () => zoomTo(1 / devicePixelRatio);
  view.zoom = (by) => placed && zoomTo(placed.scale * by);

  const onWheel = (event: WheelEvent) => {
    event.preventDefault();
    const box = (event.currentTarget as HTMLElement).getBoundingClientRect();
    if (placed) zoomTo(placed.scale * Math.exp(-event.deltaY / 400), event.clientX - box.left, event.clientY - box.top);
  };
  const onPointerDown = (event: PointerEvent) => {
    if (!placed || event.button !== 0) return;
    const pane = event.currentTarget as HTMLElement;
    const box = pane.getBoundingClientRect();
    if (tool === 'gray' && opened) {
      const seen: Point = [
        (event.clientX - box.left - placed.x) / placed.scale,
        (event.clientY - box.top - placed.y) / placed.scale,
      ];
      const [x, y] = turn!.stored(seen).map(Math.floor) as Point;
      if (x >= 0 && y >= 0 && x < opened.width && y < opened.height) set({ gray: [x, y] });
      return change({ tool: 'none' });
    }
    const [fromX, fromY] = [event.clientX, event.clientY];
    pane.setPointerCapture(event.pointerId);
    pane.onpointermove = (moved) => {
      if (near) setNear({ ...near, x: near.x + moved.clientX - fromX, y: near.y + moved.clientY - fromY });
      else if (look === 'slider')
        setSplit(Math.min(1, Math.max(0, (moved.clientX - box.left - placed.x) / (placed.scale * turn!.width))));
    };
    pane.onpointerup = () => (pane.onpointermove = null);
  };

  const layers = (which: 'before' | 'after' | 'both') =>
    placed &&
    turn && (
      <div
        class="scan"
        style={{
          width: `${turn.width * placed.scale}px`,
          height: `${turn.height * placed.scale}px`,
          transform: `translate(${placed.x}px, ${placed.y}px)`,
        }}
      >
        {which !== 'after' && <Layer scan={scan} which="before" detail={detail} turn={turn} placed={placed} />}
        {which !== 'before' && (
          <Layer
            scan={scan}
            which="after"
            detail={detail}
            turn={turn}
            placed={placed}
            cover={which === 'both' ? split : undefined}
          />
        )}
        {which === 'both' && <div class="divider" style={{ left: `${100 * split}%` }} />}
        {which !== 'before' && <Frame scan={scan} turn={turn} placed={placed} active={tool === 'frame'} />}
      </div>
    );
  const pane = (which: 'before' | 'after' | 'both') => (
    <div class={`pane with-${tool} ${near ? 'near' : ''}`} onPointerDown={onPointerDown} onWheel={onWheel}>
      {layers(which)}
    </div>
  );

  const single = held || look === 'before' ? 'before' : look === 'after' ? 'after' : 'both';
  return (
    <main class="table" aria-label={titleOf(scan)}>
      <Bar state={state} scan={scan} percent={placed ? 100 * placed.scale * devicePixelRatio : 0} />
      <div class={`stage ${upright ? 'stacked' : ''}`} ref={stage}>
        {side ? [pane('before'), pane('after')] : pane(single)}
        {!opened && scan.state !== 'failed' && <p class="wait">Opening {titleOf(scan)}</p>}
        {scan.error && (
          <p class="wait" role="alert">
            {titleOf(scan)}: {scan.error}
          </p>
        )}
        {look === 'slider' && opened && (
          <input
            class="split"
            type="range"
            min="0"
            max="1"
            step="0.01"
            value={split}
            aria-label="Before and after"
            onInput={(event) => setSplit(Number(event.currentTarget.value))}
          />
        )}
      </div>
    </main>
  );
}
