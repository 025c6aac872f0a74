// All that the page knows, and what can be done with it. Components draw it and call its functions.
import { Client, Ended } from './client.ts';
import type { Corners, Kind } from './engine.ts';
import type { Target } from './finish.ts';
import { writeBack } from './server.ts';
import { forOthers, START, type Settings } from './settings.ts';
import { pageIn, readSidecar, sidecarOf, type Sidecar, type SidecarPage } from './sidecar.ts';
import type { Calls, Opened, Updated } from './worker.ts';
import { distinct, zipOf } from './zip.ts';

export interface Scan {
  id: number;
  file: File;
  /** Of the file, from 0. Pages are scans of their own, side by side in the strip. */
  page: number;
  /** The first page's id. */
  first: number;
  /** A correction of its file that was opened. */
  sidecar: Sidecar | null;
  /** The worker that holds it. */
  holder: number;
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
const worker = new Client();

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

export const titleOf = ({ file, page, opened }: Scan): string =>
  page > 0 || (opened?.pages.length ?? 1) > 1 ? `${file.name}, page ${page + 1}` : file.name;
/** All pages of its file. */
export const pagesOf = (scan: Scan): Scan[] => state.scans.filter(({ first }) => first === scan.first);

type OfScans = {
  [Name in keyof Calls]: Parameters<Calls[Name]> extends [number, ...unknown[]] ? Name : never;
}[keyof Calls];
type Rest<Name extends OfScans> = Parameters<Calls[Name]> extends [number, ...infer Words] ? Words : never;

const openings = new Map<number, Promise<unknown>>();

/** After a worker that ended, the next one opens the scan anew. */
async function hold(id: number): Promise<void> {
  const scan = scanOf(id);
  if (!scan?.opened || scan.holder === worker.generation) return;
  const opening = openings.get(id) ?? worker.call('open', id, scan.file, scan.page);
  openings.set(id, opening);
  try {
    await opening;
    changeScan(id, { holder: worker.generation });
  } finally {
    openings.delete(id);
  }
}

interface Shared {
  members: { id: number; frame: Corners | null }[];
  kind: string;
  holder: number;
}
let shared: Shared | null = null;

/** Has the worker find what scans share. False: too few belong together. */
async function share(members: Shared['members'], kind: string): Promise<boolean> {
  const open = members.filter(({ id }) => scanOf(id));
  for (const { id } of open) await hold(id);
  const found = await worker.call('roll', open, kind);
  shared = found ? { members: open, kind, holder: worker.generation } : null;
  return found;
}

/** A call for a scan. Where another scan ended the worker, it is made again. */
export async function ask<Name extends OfScans>(name: Name, id: number, ...words: Rest<Name>) {
  for (let tries = 1; ; tries++) {
    try {
      await hold(id);
      if (scanOf(id)?.settings.roll && shared && shared.holder !== worker.generation) {
        await share(shared.members, shared.kind);
      }
      return await worker.call(name, ...([id, ...words] as unknown as Parameters<Calls[Name]>));
    } catch (error) {
      if (!(error instanceof Ended) || error.isCause || tries === 3) throw error;
    }
  }
}

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

const newScan = (file: File, page = 0, first = ++count, id = first): Scan => ({
  id,
  file,
  page,
  first,
  sidecar: null,
  holder: -1,
  state: 'opening',
  error: '',
  opened: null,
  updated: null,
  settings: START,
  past: [],
  future: [],
});

/** Scans, and corrections for those of their names. Gives the scans' numbers. */
export async function openFiles(files: File[]): Promise<number[]> {
  const made = files.filter((file) => !isSidecar(file)).map((file) => newScan(file));
  change({ scans: [...state.scans, ...made], message: '' });
  if (currentScan() === undefined && made[0]) change({ current: made[0].id });
  if (made.length > 0) expectScans();
  for (const file of files.filter(isSidecar)) await openSidecar(file, made);
  for (const { id } of made) {
    await openScan(id);
    for (const page of addPages(id)) await openScan(page);
  }
  return made.map(({ id }) => id);
}

async function openScan(id: number): Promise<void> {
  const scan = scanOf(id);
  if (!scan) return;
  try {
    const opened = await ask('open', id, scan.file, scan.page);
    if (!scanOf(id)) return;
    const pages = scan.page > 0 ? (scanOf(scan.first)?.opened?.pages ?? []) : opened.pages;
    changeScan(id, { opened: { ...opened, pages }, holder: worker.generation });
    if (opened.bilevel) throw new Error('black and white only: there is nothing to correct, and it stays as it is');
    await refresh(id, true);
    changeScan(id, { state: 'ready' });
  } catch (error) {
    changeScan(id, { state: 'failed', error: reason(error) });
  }
}

/** The other pages of a file whose first one is open, behind it. Gives their numbers. */
function addPages(id: number): number[] {
  const scan = scanOf(id);
  const pages = (scan?.opened?.pages ?? []).filter((page) => page > 0);
  if (!scan || pages.length === 0) return [];
  const made = pages.map((page) => ({ ...newScan(scan.file, page, id, ++count), sidecar: scan.sidecar }));
  const at = state.scans.indexOf(scan) + 1;
  change({ scans: [...state.scans.slice(0, at), ...made, ...state.scans.slice(at)] });
  if (scan.sidecar) for (const one of made) repeatOn(one, scan.sidecar);
  return made.map((one) => one.id);
}

function repeatOn(scan: Scan, sidecar: Sidecar): void {
  const page = pageIn(sidecar, scan.page);
  if (!page) return;
  const cut = page.crop ? { crop: true, straighten: page.crop.tilt !== 0 } : {};
  setSettings(scan.id, { ...START, ...cut, repeated: page, kind: page.kind }, 'sidecar');
}

/** `made`: the scans that came with it, of which it is before others of the same name. */
async function openSidecar(file: File, made: Scan[]): Promise<void> {
  try {
    const sidecar = readSidecar(await file.text());
    const named = [...made, ...state.scans].find(
      ({ file: scan }) => scan.name === sidecar.scan.replace(/^.*[/\\]/, ''),
    );
    const scan = made.length === 1 ? made[0] : (named ?? currentScan());
    if (!scan) throw new Error(`belongs to ${sidecar.scan}: open that first, or both together`);
    if (sidecar.inPlace) throw new Error(`was laid over the scan in its place: ${scan.file.name} is finished already`);
    for (const page of pagesOf(scan)) {
      changeScan(page.id, { sidecar });
      repeatOn(page, sidecar);
    }
    say(`${scan.file.name} is corrected by ${file.name}.`);
  } catch (error) {
    say(`${file.name} ${reason(error)}`);
  }
}

/** With all pages of its file, which are saved together. */
export function closeScan(id: number): void {
  const scan = scanOf(id);
  if (!scan) return;
  const gone = pagesOf(scan).map((page) => page.id);
  const at = state.scans.findIndex((one) => gone.includes(one.id));
  const scans = state.scans.filter((one) => !gone.includes(one.id));
  const next = gone.includes(state.current) ? (scans[Math.min(at, scans.length - 1)]?.id ?? -1) : state.current;
  change({ scans, current: next });
  for (const page of gone) void worker.call('close', page);
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
    const updated = await ask('update', id, scan.settings, judge);
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

const othersThan = (scan: Scan): Scan[] => state.scans.filter(({ id, state: s }) => id !== scan.id && s !== 'failed');

/** Whether others are of another kind than this scan's, which the person told. */
export const hasOtherKinds = (scan: Scan): boolean =>
  scan.settings.kind !== 'auto' && othersThan(scan).some(({ settings }) => settings.kind !== scan.settings.kind);

/** A box of slides is told of once. */
export function kindToAll(): void {
  const scan = currentScan();
  if (!scan) return;
  const { kind } = scan.settings;
  for (const { id, settings } of othersThan(scan)) setSettings(id, { ...settings, kind, repeated: null }, `kind${id}`);
  say(`All scans are taken as ${kind}.`);
}

/** All but places. */
export function copyToAll(): void {
  const scan = currentScan();
  if (!scan) return;
  const others = othersThan(scan);
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
    const members = ready.map(({ id, settings: { frame } }) => ({ id, frame }));
    if (!(await share(members, kind))) {
      say(`These scans, as ${kind}, do not share enough: each is finished by itself.`);
      return;
    }
    for (const { id, settings } of ready)
      setSettings(id, { ...settings, kind, analysis: 'adaptive', roll: true, repeated: null }, `roll${id}`);
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

const pageOf = async (scan: Scan): Promise<SidecarPage> => ask('page', scan.id, scan.settings);

async function correctionsOf(scans: Scan[]): Promise<SidecarPage[]> {
  const pages: SidecarPage[] = [];
  for (const scan of scans) if (scan.updated) pages.push(await pageOf(scan));
  return pages;
}

/** All pages of its file. Throws where some are still to come, or cannot be had: fewer would stand for all of them. */
function allPagesOf(scan: Scan): Scan[] {
  const pages = pagesOf(scan);
  const count = scanOf(scan.first)?.opened?.pages.length ?? 1;
  if (pages.length < count || pages.some(({ state: s }) => s === 'opening')) {
    throw new Error(`pages of ${scan.file.name} are still being opened`);
  }
  const lost = pages.find(({ updated, opened }) => !updated && !opened?.bilevel);
  if (lost) throw new Error(`${titleOf(lost)} has no correction: ${lost.error}`);
  return pages;
}

/** One of each file. */
const filesOf = (scans: Scan[]): Scan[] =>
  scans.filter(({ first }, i) => scans.findIndex((one) => one.first === first) === i);

/** One for each file, of all its pages. What fails is told, the others are saved. */
export async function saveSidecars(scans: Scan[]): Promise<void> {
  const files: Saved[] = [];
  const failed: string[] = [];
  for (const scan of filesOf(scans)) {
    try {
      const pages = await correctionsOf(allPagesOf(scan));
      const text = sidecarOf(scan.file.name, pages, await worker.call('version'));
      const blob = new Blob([text], { type: 'application/json' });
      if (!(await writeBack(scan.first, pages.length, blob))) files.push({ name: `${scan.file.name}.zep3.json`, blob });
    } catch (error) {
      failed.push(reason(error));
    }
  }
  await downloadAll(files, 'corrections.zip').catch((error) => failed.push(reason(error)));
  if (failed.length > 0) say(failed.join('. '));
}

interface Result {
  name: string;
  scan: Scan;
  /** All pages of a file as one TIFF. */
  whole: boolean;
}

/** What comes out: a TIFF keeps its pages, other formats have one each. */
function resultsOf(scans: Scan[], target: Target): Result[] {
  const isTiff = target === 'tiff' || target === 'same'; // only a TIFF has several pages
  return (isTiff ? filesOf(scans) : scans).map((scan) => {
    const stem = stemOf(scan.file.name);
    const several = pagesOf(scan).length > 1;
    const name = several && !isTiff ? `${stem}-${scan.page + 1}-finished` : `${stem}-finished`;
    const whole = isTiff && (scan.opened?.pageCount ?? 1) > 1;
    return { name, scan, whole };
  });
}

interface Saved {
  name: string;
  blob: Blob;
}

/** Of what is being saved: a change says that it was stopped, also when another one has begun since. */
let saveNumber = 0;

async function finished({ name, scan, whole }: Result, target: Target, isStopped: () => boolean): Promise<Saved> {
  const pages = await correctionsOf(whole ? allPagesOf(scan) : [scan]);
  if (isStopped()) throw new Error('stopped');
  const { blob, extension } = await saver.call('finish', scan.file, pages, target, whole);
  return { name: `${name}.${extension}`, blob };
}

/** Several as one ZIP of that name, where there is one. */
async function downloadAll(made: Saved[], zip: string | null): Promise<void> {
  const names = distinct(made.map(({ name }) => name));
  const files = made.map(({ blob }, i) => ({ name: names[i]!, blob }));
  if (zip !== null && files.length > 1) return download(await zipOf(files), zip);
  for (const { name, blob } of files) download(blob, name);
}

/** Finished pictures: one as a file, several as files or one ZIP. What fails is told, the others are saved. */
export async function save(scans: Scan[], target: Target, zip: boolean): Promise<void> {
  const corrected = scans.filter(({ updated }) => updated);
  if (state.saving || corrected.length === 0) return;
  const own = ++saveNumber;
  const isStopped = () => own !== saveNumber;
  const made: Saved[] = [];
  const failed: string[] = [];
  const results = resultsOf(corrected, target);
  for (const [done, result] of results.entries()) {
    const { name } = result.scan.file;
    change({ saving: { name, done, count: results.length, share: 0 }, message: '' });
    try {
      made.push(await finished(result, target, isStopped));
    } catch (error) {
      failed.push(`${name}: ${reason(error)}`);
    }
    if (isStopped()) return;
  }
  saver.stop(); // its memory is as large as the largest scan
  await downloadAll(made, zip ? 'finished.zip' : null).catch((error) => failed.push(reason(error)));
  if (isStopped()) return;
  change({ saving: null, message: failed.join('. ') });
}

export function stopSaving(): void {
  saveNumber++;
  saver.stop();
  change({ saving: null, message: 'Stopped: nothing was saved' });
}
