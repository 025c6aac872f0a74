// All that the page knows, and what can be done with it. Components draw it and call its functions.
import { Client } from './client.ts';
import type { Kind } from './engine.ts';
import type { Target } from './finish.ts';
import { writeBack } from './server.ts';
import { forOthers, START, type Settings } from './settings.ts';
import { readSidecar, sidecarOf, type SidecarPage } from './sidecar.ts';
import type { Opened, Updated } from './worker.ts';
import { distinct, zipOf } from './zip.ts';

export interface Scan {
  id: number;
  file: File;
  state: 'opening' | 'ready' | 'failed';
  error: string;
  opened: Opened | null;
  updated: Updated | null;
  settings: Settings;
  past: Settings[];
  future: Settings[];
}

export type Look = 'slider' | 'side' | 'after' | 'before';
export type Tool = 'none' | 'gray' | 'frame';

export interface State {
  kinds: Kind[];
  scans: Scan[];
  current: number;
  look: Look;
  /** The scan is shown as it was while a key or button is held. */
  held: boolean;
  tool: Tool;
  message: string;
  saving: { name: string; done: number; count: number; share: number } | null;
  help: boolean;
}

// Changes of one control within this time are one step of undo.
const ONE_STEP = 800;
const JUDGE_AFTER = 250;
const STEPS = 200;

const saver = new Client((share) => change({ saving: state.saving && { ...state.saving, share } }));
export const worker = new Client();

let state: State = {
  kinds: [],
  scans: [],
  current: -1,
  look: 'slider',
  held: false,
  tool: 'none',
  message: '',
  saving: null,
  help: false,
};
const listeners = new Set<() => void>();
let count = 0;

export const now = (): State => state;
export function subscribe(listener: () => void): () => void {
  listeners.add(listener);
  return () => listeners.delete(listener);
}
export function change(part: Partial<State>): void {
  state = { ...state, ...part };
  for (const listener of listeners) listener();
}
function changeScan(id: number, part: Partial<Scan>): void {
  change({ scans: state.scans.map((scan) => (scan.id === id ? { ...scan, ...part } : scan)) });
}

export const scanOf = (id: number): Scan | undefined => state.scans.find((scan) => scan.id === id);
export const currentScan = (): Scan | undefined => scanOf(state.current);
export const say = (message: string): void => change({ message });
const reason = (error: unknown): string => (error instanceof Error ? error.message : String(error));

// ---- opening ----

/** Loads the engine, when scans are about to come. */
export function expectScans(): void {
  if (state.kinds.length > 0 || expected) return;
  expected = true;
  worker.call('kinds').then(
    (kinds) => change({ kinds }),
    (error) => say(reason(error)),
  );
}
let expected = false;

const isSidecar = (file: File) => file.name.toLowerCase().endsWith('.json');

/** Scans, and corrections for those of their names. Gives the scans' numbers. */
export async function openFiles(files: File[]): Promise<number[]> {
  const scans = files.filter((file) => !isSidecar(file));
  const made = scans.map<Scan>((file) => ({
    id: ++count,
    file,
    state: 'opening',
    error: '',
    opened: null,
    updated: null,
    settings: START,
    past: [],
    future: [],
  }));
  change({ scans: [...state.scans, ...made], message: '' });
  if (currentScan() === undefined && made[0]) change({ current: made[0].id });
  if (made.length > 0) expectScans();
  for (const file of files.filter(isSidecar)) await openSidecar(file, made);
  for (const { id, file } of made) await openScan(id, file);
  return made.map(({ id }) => id);
}

async function openScan(id: number, file: File): Promise<void> {
  try {
    const opened = await worker.call('open', id, file);
    if (!scanOf(id)) return;
    changeScan(id, { opened });
    await refresh(id, true);
    changeScan(id, { state: 'ready' });
  } catch (error) {
    changeScan(id, { state: 'failed', error: reason(error) });
  }
}

/** `made`: the scans that came with it, of which it is before others of the same name. */
async function openSidecar(file: File, made: Scan[]): Promise<void> {
  try {
    const sidecar = readSidecar(await file.text());
    const page = sidecar.pages[0]!;
    const named = [...made, ...state.scans].find(
      ({ file: scan }) => scan.name === sidecar.scan.replace(/^.*[/\\]/, ''),
    );
    const scan = made.length === 1 ? made[0] : (named ?? currentScan());
    if (!scan) throw new Error(`belongs to ${sidecar.scan}: open that first, or both together`);
    const cut = page.crop ? { crop: true, straighten: page.crop.tilt !== 0 } : {};
    setSettings(scan.id, { ...START, ...cut, repeated: page, kind: page.kind }, 'sidecar');
    say(`${scan.file.name} is corrected by ${file.name}.`);
  } catch (error) {
    say(`${file.name} ${reason(error)}`);
  }
}

export function closeScan(id: number): void {
  const at = state.scans.findIndex((scan) => scan.id === id);
  const scans = state.scans.filter((scan) => scan.id !== id);
  const next = state.current === id ? (scans[Math.min(at, scans.length - 1)]?.id ?? -1) : state.current;
  change({ scans, current: next });
  void worker.call('close', id);
}

export function select(id: number): void {
  if (id !== state.current) change({ current: id, tool: 'none' });
}

export function step(by: number): void {
  const at = state.scans.findIndex(({ id }) => id === state.current);
  const next = state.scans[at + by];
  if (next) select(next.id);
}

// ---- settings ----

const busy = new Map<number, { again: boolean; judge: boolean }>(); // what is asked for meanwhile
const judging = new Map<number, number>();

/** Makes the preview anew; while that is under way, once more for all that comes meanwhile. */
export async function refresh(id: number, judge: boolean): Promise<void> {
  const running = busy.get(id);
  if (running) {
    busy.set(id, { again: true, judge: running.judge || judge });
    return;
  }
  busy.set(id, { again: false, judge: false });
  try {
    const scan = scanOf(id);
    if (!scan?.opened) return;
    const updated = await worker.call('update', id, scan.settings, judge);
    changeScan(id, { updated, error: '', state: 'ready' });
  } catch (error) {
    changeScan(id, { error: reason(error) });
    if (!scanOf(id)?.updated) throw error;
  } finally {
    const asked = busy.get(id);
    busy.delete(id);
    if (asked?.again) void refresh(id, asked.judge);
  }
}

let lastControl = '';
let lastTime = 0;

export function setSettings(id: number, settings: Settings, control: string): void {
  const scan = scanOf(id);
  if (!scan) return;
  const same = control === lastControl && Date.now() - lastTime < ONE_STEP && scan.past.length > 0;
  [lastControl, lastTime] = [control, Date.now()];
  const past = same ? scan.past : [...scan.past.slice(-STEPS), scan.settings];
  changeScan(id, { settings, past, future: [] });
  redraw(id);
}

function redraw(id: number): void {
  void refresh(id, false);
  clearTimeout(judging.get(id));
  judging.set(
    id,
    window.setTimeout(() => void refresh(id, true), JUDGE_AFTER),
  );
}

/** Of the scan that is shown. */
export function set(part: Partial<Settings>, control = Object.keys(part)[0]!): void {
  const scan = currentScan();
  if (scan) setSettings(scan.id, { ...scan.settings, ...part }, control);
}

export function undo(): void {
  const scan = currentScan();
  const settings = scan?.past.at(-1);
  if (!scan || !settings) return;
  changeScan(scan.id, { settings, past: scan.past.slice(0, -1), future: [scan.settings, ...scan.future] });
  lastControl = '';
  redraw(scan.id);
}

export function redo(): void {
  const scan = currentScan();
  const settings = scan?.future[0];
  if (!scan || !settings) return;
  changeScan(scan.id, { settings, past: [...scan.past, scan.settings], future: scan.future.slice(1) });
  lastControl = '';
  redraw(scan.id);
}

export function reset(): void {
  const scan = currentScan();
  if (scan) setSettings(scan.id, { ...START, kind: scan.settings.kind, roll: scan.settings.roll }, 'reset');
}

/** All but places. */
export function copyToAll(): void {
  const scan = currentScan();
  if (!scan) return;
  const others = state.scans.filter(({ id, state: s }) => id !== scan.id && s !== 'failed');
  for (const { id, settings } of others) setSettings(id, forOthers(scan.settings, settings), `copy${id}`);
  say(`Copied to ${others.length} ${others.length === 1 ? 'scan' : 'scans'}.`);
}

/** Finishes all scans together, as frames of one film or originals of one box. */
export async function makeRoll(): Promise<void> {
  const scan = currentScan();
  const ready = state.scans.filter(({ state: s }) => s === 'ready');
  if (!scan?.updated) return;
  const { kind } = scan.updated;
  try {
    const shared = await worker.call(
      'roll',
      ready.map(({ id, settings: { frame } }) => ({ id, frame })),
      kind,
    );
    if (!shared) {
      say(`These scans, as ${kind}, do not share enough: each is finished by itself.`);
      return;
    }
    for (const { id, settings } of ready)
      setSettings(id, { ...settings, kind, roll: true, repeated: null }, `roll${id}`);
    say(`${ready.length} scans are finished together, as ${kind}.`);
  } catch (error) {
    say(reason(error));
  }
}

// ---- results ----

const stemOf = (name: string) => name.replace(/\.[^.]*$/, '');

export function download(blob: Blob, name: string): void {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
}

const pageOf = (scan: Scan): Promise<SidecarPage> => worker.call('page', scan.id, scan.settings);

async function sidecarBlob(scan: Scan): Promise<Blob> {
  return new Blob([sidecarOf(scan.file.name, await pageOf(scan), await worker.call('version'))], {
    type: 'application/json',
  });
}

export async function saveSidecars(scans: Scan[]): Promise<void> {
  try {
    const files: { name: string; blob: Blob }[] = [];
    for (const scan of scans) {
      const blob = await sidecarBlob(scan);
      if (!(await writeBack(scan.id, blob))) files.push({ name: `${scan.file.name}.zep3.json`, blob });
    }
    const names = distinct(files.map(({ name }) => name));
    if (files.length === 1) return download(files[0]!.blob, names[0]!);
    if (files.length > 1)
      download(await zipOf(files.map(({ blob }, i) => ({ name: names[i]!, blob }))), 'corrections.zip');
  } catch (error) {
    say(reason(error));
  }
}

/** Finished pictures: one as a file, several as files or one ZIP. What fails is told, the others are saved. */
export async function save(scans: Scan[], target: Target, zip: boolean): Promise<void> {
  if (state.saving) return;
  const made: { name: string; blob: Blob }[] = [];
  const failed: string[] = [];
  let stopped = false;
  for (const [done, scan] of scans.entries()) {
    change({ saving: { name: scan.file.name, done, count: scans.length, share: 0 }, message: '' });
    try {
      const page = await pageOf(scan);
      if (now().saving === null) throw new Error('stopped');
      const { blob, extension } = await saver.call('finish', scan.file, page, target);
      made.push({ name: `${stemOf(scan.file.name)}-finished.${extension}`, blob });
    } catch (error) {
      if (now().saving === null) stopped = true;
      else failed.push(`${scan.file.name}: ${reason(error)}`);
    }
    if (stopped) break;
  }
  const names = distinct(made.map(({ name }) => name));
  const files = made.map(({ blob }, i) => ({ name: names[i]!, blob }));
  try {
    if (stopped) failed.unshift('Stopped: nothing was saved');
    else if (zip && files.length > 1) download(await zipOf(files), 'finished.zip');
    else for (const { name, blob } of files) download(blob, name);
  } catch (error) {
    failed.push(reason(error));
  }
  change({ saving: null, message: failed.join('. ') });
}

export function stopSaving(): void {
  change({ saving: null });
  saver.stop();
}
