// The engine behind typed calls. Nothing here knows of a browser: it also runs in Node.

type Pointer = number;

/** What web/engine/web.cpp exports. */
interface Exports {
  memory: WebAssembly.Memory;
  _initialize(): void;
  web_version(minor: number): number;
  web_alloc(bytes: number): Pointer;
  web_release(bytes: Pointer): void;
  web_scan_new(width: number, height: number, gamma: number): Pointer;
  web_scan_delete(scan: Pointer): void;
  web_band_lines(scan: Pointer): number;
  web_prescan_begin(scan: Pointer): void;
  web_prescan_band(scan: Pointer, pixels: Pointer, y: number, lines: number, format: number, bits: number): number;
  web_levels(scan: Pointer): Pointer;
  web_means(scan: Pointer): Pointer;
  web_field_name(index: number): Pointer;
  web_get(scan: Pointer, field: number): number;
  web_set(scan: Pointer, field: number, value: number): void;
  web_tone_count(scan: Pointer, which: number): number;
  web_tone_x(scan: Pointer, which: number, index: number): number;
  web_tone_y(scan: Pointer, which: number, index: number): number;
  web_tone_clear(scan: Pointer, which: number): void;
  web_tone_add(scan: Pointer, which: number, x: number, y: number): void;
  web_reset(scan: Pointer, kind: Pointer): number;
  web_analyse(scan: Pointer, adaptive: number, even: number, roll: Pointer): number;
  web_judge(scan: Pointer): number;
  web_negative_odds(scan: Pointer): number;
  web_check(scan: Pointer, call: number): Pointer;
  web_picked(scan: Pointer, level: number): number;
  web_gray(scan: Pointer, red: number, green: number, blue: number, strength: number): number;
  web_roll_new(): Pointer;
  web_roll_delete(roll: Pointer): void;
  web_roll_add(roll: Pointer, scan: Pointer): number;
  web_roll_solve(roll: Pointer): number;
  web_kind_name(index: number): Pointer;
  web_kind_text(index: number): Pointer;
  web_kind_of(scan: Pointer): Pointer;
  web_reason_code(index: number): Pointer;
  web_reason_text(index: number): Pointer;
  web_reason_sentence(index: number): Pointer;
  web_reason_against(index: number): number;
  web_has_reason(scan: Pointer, index: number): number;
  web_set_reason(scan: Pointer, index: number): void;
  web_item_name(index: number): Pointer;
  web_item_label(index: number): Pointer;
  web_item_unit(index: number): Pointer;
  web_item_text(index: number): Pointer;
  web_item_decimals(index: number): number;
  web_evidence(scan: Pointer, index: number, values: Pointer): number;
  web_window(scan: Pointer, paper: number, corner: number, axis: number): number;
  web_cells(scan: Pointer): Pointer;
  web_cells_room(scan: Pointer, cells: number): Pointer;
  web_chroma(scan: Pointer): number;
  web_tables(scan: Pointer, entries: number, table: Pointer): number;
  web_apply(
    scan: Pointer,
    pixels: Pointer,
    width: number,
    lines: number,
    x: number,
    y: number,
    format: number,
    bits: number,
    chroma: number,
    small: number,
  ): number;
}

/** A scan's gamma that is sRGB's own curve, as the engine has it; others are tenths. */
export const SRGB_CURVE = -22;

export type Format = 'rgb' | 'rgba' | 'gray' | 'graya';
const FORMATS: Record<Format, number> = { rgb: 0, rgba: 3, gray: 5, graya: 6 };
export const SAMPLES: Record<Format, number> = { rgb: 3, rgba: 4, gray: 1, graya: 2 };
export type Depth = 8 | 16;
const DEPTHS: Record<Depth, number> = { 8: 24, 16: 48 };

const CALL_ANALYSE = 0;
const CELL_BYTES = 16;

export interface Kind {
  name: string;
  text: string;
}
export interface Reason {
  code: string;
  text: string;
  sentence: string;
  /** It speaks against a result, or there is none. */
  against: boolean;
}
export interface Measurement {
  name: string;
  label: string;
  unit: string;
  text: string;
  decimals: number;
  values: number[];
}
export type Point = [number, number];
/** Top left, top right, bottom right, bottom left. */
export type Corners = [Point, Point, Point, Point];
/** All channels, red, green, blue. */
export type ToneIndex = 0 | 1 | 2 | 3;

export class EngineError extends Error {}

export class Engine {
  readonly kinds: Kind[];
  readonly reasons: Reason[];
  readonly fields = new Map<string, number>();

  private constructor(readonly calls: Exports) {
    const list = <T>(name: (index: number) => Pointer, make: (name: string, index: number) => T): T[] => {
      const found: T[] = [];
      for (let i = 0, at = name(0); at !== 0; at = name(++i)) found.push(make(this.text(at), i));
      return found;
    };
    this.kinds = list(calls.web_kind_name, (name, i) => ({ name, text: this.text(calls.web_kind_text(i)) }));
    this.reasons = list(calls.web_reason_code, (code, i) => ({
      code,
      text: this.text(calls.web_reason_text(i)),
      sentence: this.text(calls.web_reason_sentence(i)),
      against: calls.web_reason_against(i) !== 0,
    }));
    list(calls.web_field_name, (name, i) => this.fields.set(name, i));
  }

  /** more: what the engine calls only for some scans, given when it first does. */
  static async load(wasm: BufferSource, more: () => BufferSource): Promise<Engine> {
    const ends = (): never => {
      throw new EngineError('the engine ended: not enough memory');
    };
    // Each import of "p" stands for a function of the second part, at its place in the table until that is loaded.
    let table: WebAssembly.Table;
    let first: WebAssembly.Exports;
    let stack: WebAssembly.Global;
    let atRest: unknown;
    const places = new Proxy<Record<string, WebAssembly.ImportValue>>(
      {},
      {
        get: (_, place: string) => {
          return (...words: unknown[]) => {
            try {
              new WebAssembly.Instance(new WebAssembly.Module(more()), { ...imports, first });
            } catch (error) {
              // The call ends here, and nothing else gives its stack back.
              stack.value = atRest;
              throw error;
            }
            return (table.get(Number(place)) as (...words: unknown[]) => unknown)(...words);
          };
        },
      },
    );
    const imports: WebAssembly.Imports = {
      env: { emscripten_notify_memory_growth: () => {} },
      wasi_snapshot_preview1: { proc_exit: ends },
      p: places,
    };
    const { instance } = await WebAssembly.instantiate(wasm, imports);
    first = instance.exports;
    table = Object.values(first).find((value) => value instanceof WebAssembly.Table)!;
    stack = Object.values(first).find((value) => value instanceof WebAssembly.Global)!;
    const calls = first as unknown as Exports;
    calls._initialize();
    atRest = stack.value;
    return new Engine(calls);
  }

  /** Of the calls and records, as the program writes it. */
  get version(): string {
    return `${this.calls.web_version(0)}.${this.calls.web_version(1)}`;
  }

  /** Of a text that ends with a zero byte. */
  text(at: Pointer): string {
    const bytes = new Uint8Array(this.calls.memory.buffer, at);
    return new TextDecoder().decode(bytes.slice(0, bytes.indexOf(0)));
  }

  bytes(at: Pointer, length: number): Uint8Array<ArrayBuffer> {
    return new Uint8Array(this.calls.memory.buffer as ArrayBuffer, at >>> 0, length);
  }

  /** Lends memory of the engine for a call. */
  withMemory<T>(length: number, use: (at: Pointer) => T): T {
    const at = this.calls.web_alloc(length) >>> 0;
    try {
      return use(at);
    } finally {
      this.calls.web_release(at);
    }
  }

  scan(width: number, height: number, gamma: number): Scan {
    return new Scan(this, width, height, gamma);
  }
}

/** A scan's pre-scan, correction and evidence. To be closed. */
export class Scan {
  readonly handle: Pointer;

  constructor(
    readonly engine: Engine,
    readonly width: number,
    readonly height: number,
    gamma: number,
  ) {
    this.handle = engine.calls.web_scan_new(width, height, gamma);
  }

  close(): void {
    this.engine.calls.web_scan_delete(this.handle);
  }

  // ---- pre-scan ----

  get bandLines(): number {
    return this.engine.calls.web_band_lines(this.handle);
  }

  beginPrescan(): void {
    this.engine.calls.web_prescan_begin(this.handle);
  }

  /** The next lines of the scan, bandLines of them or what is left; y is the first. */
  addBand(pixels: Uint8Array | Uint8ClampedArray, y: number, format: Format, depth: Depth): void {
    const lines = pixels.length / (this.width * SAMPLES[format] * (depth / 8));
    const { calls } = this.engine;
    this.engine.withMemory(pixels.length, (at) => {
      this.engine.bytes(at, pixels.length).set(pixels);
      if (!calls.web_prescan_band(this.handle, at, y, lines, FORMATS[format], DEPTHS[depth])) {
        throw new EngineError('the pre-scan was refused');
      }
    });
  }

  /** R G B in the scan's own values: a view, until the next call. */
  get means(): Uint8Array<ArrayBuffer> {
    return this.engine.bytes(this.engine.calls.web_means(this.handle), 3 * this.smallWidth * this.smallHeight);
  }

  /** R G B in linear levels, likewise. */
  get levels(): Uint8Array<ArrayBuffer> {
    return this.engine.bytes(this.engine.calls.web_levels(this.handle), 3 * this.smallWidth * this.smallHeight);
  }

  get smallWidth(): number {
    return this.get('prescan.width');
  }
  get smallHeight(): number {
    return this.get('prescan.height');
  }
  get shrink(): number {
    return this.get('prescan.shrink');
  }

  // ---- record ----

  get(name: string): number {
    return this.engine.calls.web_get(this.handle, this.field(name));
  }
  set(name: string, value: number): void {
    this.engine.calls.web_set(this.handle, this.field(name), value);
  }
  private field(name: string): number {
    const index = this.engine.fields.get(name);
    if (index === undefined) throw new EngineError(`no field ${name}`);
    return index;
  }

  tone(which: ToneIndex): Point[] {
    const { calls } = this.engine;
    const count = Math.max(0, calls.web_tone_count(this.handle, which));
    return Array.from({ length: count }, (_, i) => [
      calls.web_tone_x(this.handle, which, i),
      calls.web_tone_y(this.handle, which, i),
    ]);
  }
  setTone(which: ToneIndex, points: Point[]): void {
    const { calls } = this.engine;
    calls.web_tone_clear(this.handle, which);
    for (const [x, y] of points) calls.web_tone_add(this.handle, which, x, y);
  }

  /** The record as a caller starts from. */
  reset(kind: string): void {
    const name = new TextEncoder().encode(`${kind}\0`);
    this.engine.withMemory(name.length, (at) => {
      this.engine.bytes(at, name.length).set(name);
      if (!this.engine.calls.web_reset(this.handle, at)) throw new EngineError(`no kind ${kind}`);
    });
  }

  get kind(): string {
    const name = this.engine.calls.web_kind_of(this.handle);
    return name === 0 ? '' : this.engine.text(name);
  }

  // ---- analysis ----

  analyse(adaptive: boolean, even: boolean, roll: Roll | null): void {
    const { calls } = this.engine;
    if (calls.web_analyse(this.handle, +adaptive, +even, roll?.handle ?? 0)) return;
    const why = calls.web_check(this.handle, CALL_ANALYSE);
    throw new EngineError(why === 0 ? 'not enough memory for the analysis' : this.engine.text(why));
  }

  /** Holds the record, with the user's values, against the pre-scan. */
  judge(): void {
    if (!this.engine.calls.web_judge(this.handle)) throw new EngineError('not enough memory for the verdict');
  }

  /** That it shows a negative: natural logarithm of the odds, of the picture that a scan of its kind has. */
  get negativeOdds(): number {
    return this.engine.calls.web_negative_odds(this.handle);
  }

  /** Makes a place of the scan gray: the mean of 3 x 3 pixels of the pre-scan. False: it is too dark for that. */
  makeGray(x: number, y: number, strength: number): boolean {
    const { calls } = this.engine;
    const wide = this.smallWidth;
    const high = this.smallHeight;
    const column = Math.min(Math.floor(x / this.shrink), wide - 1);
    const line = Math.min(Math.floor(y / this.shrink), high - 1);
    const sum = [0, 0, 0];
    let count = 0;
    const { levels } = this;
    for (let v = Math.max(line - 1, 0); v <= Math.min(line + 1, high - 1); v++) {
      for (let u = Math.max(column - 1, 0); u <= Math.min(column + 1, wide - 1); u++) {
        for (let c = 0; c < 3; c++) sum[c]! += levels[3 * (v * wide + u) + c]!;
        count++;
      }
    }
    const evened = this.evenedAt(x, y);
    const [red, green, blue] = sum.map((s, c) => calls.web_picked(this.handle, (evened[c]! * s) / count));
    return calls.web_gray(this.handle, red!, green!, blue!, strength) !== 0;
  }

  /** What a page's paper makes of linear levels at a place. */
  private evenedAt(x: number, y: number): number[] {
    const columns = this.get('surface.columns');
    if (columns === 0) return [1, 1, 1];
    const cell = (place: number, first: string, count: number) =>
      Math.min(Math.max((place - this.get(first)) / this.get('surface.side') - 0.5, 0), count - 1);
    const column = cell(x + 0.5, 'surface.left', columns);
    const row = cell(y + 0.5, 'surface.top', this.get('surface.rows'));
    const gains = new Float32Array(this.cells.slice().buffer);
    const mix = (a: number, b: number, part: number) => a + part * (b - a);
    return [0, 1, 2].map((c) => {
      const at = (r: number, col: number) => gains[4 * (r * columns + col) + c]!;
      const inLine = (r: number) => mix(at(r, Math.floor(column)), at(r, Math.ceil(column)), column % 1);
      const gain = mix(inLine(Math.floor(row)), inLine(Math.ceil(row)), row % 1);
      return gain ** (this.get('scan.gamma') / 18) * this.get(`surface.paper.${c}`) ** (this.get('lScreenGamma') / 18);
    });
  }

  get reasons(): Reason[] {
    const { calls, reasons } = this.engine;
    return reasons.filter((_, i) => calls.web_has_reason(this.handle, i) !== 0);
  }
  setReasons(codes: string[]): void {
    this.engine.reasons.forEach((reason, i) => {
      if (codes.includes(reason.code)) this.engine.calls.web_set_reason(this.handle, i);
    });
  }

  get measurements(): Measurement[] {
    const { calls } = this.engine;
    const found: Measurement[] = [];
    this.engine.withMemory(24, (at) => {
      for (let i = 0, name = calls.web_item_name(0); name !== 0; name = calls.web_item_name(++i)) {
        const count = calls.web_evidence(this.handle, i, at);
        if (count === 0) continue;
        found.push({
          name: this.engine.text(name),
          label: this.engine.text(calls.web_item_label(i)),
          unit: this.engine.text(calls.web_item_unit(i)),
          text: this.engine.text(calls.web_item_text(i)),
          decimals: calls.web_item_decimals(i),
          values: [...new Float64Array(calls.memory.buffer, at, count)],
        });
      }
    });
    return found;
  }

  /** The picture's corners, or its sheet's with the border; null where none was found. */
  window(paper: boolean): Corners | null {
    if (!(this.get('evidence.windowConfidence') > 0)) return null;
    const at = (corner: number, axis: number) => this.engine.calls.web_window(this.handle, +paper, corner, axis);
    const corners = [0, 1, 2, 3].map((i) => [at(i, 0), at(i, 1)]) as Corners;
    return corners[1][0] > corners[0][0] ? corners : null;
  }

  /** Of a page's paper: three gains and a sum of bits, 16 bytes a cell; empty without one. A view. */
  get cells(): Uint8Array<ArrayBuffer> {
    const count = this.get('surface.found') === 0 ? 0 : this.get('surface.columns') * this.get('surface.rows');
    return this.engine.bytes(this.engine.calls.web_cells(this.handle), CELL_BYTES * count);
  }
  setCells(cells: Uint8Array): void {
    const at = this.engine.calls.web_cells_room(this.handle, cells.length / CELL_BYTES);
    this.engine.bytes(at, cells.length).set(cells);
  }

  // ---- result ----

  get chroma(): number {
    return this.engine.calls.web_chroma(this.handle);
  }

  /** Red, green, blue, of 16-bit levels for the scan's values. */
  tables(entries: number): Uint16Array {
    return this.engine.withMemory(6 * entries, (at) => {
      if (!this.engine.calls.web_tables(this.handle, entries, at)) throw new EngineError('no memory for the tables');
      return new Uint16Array(this.engine.calls.memory.buffer, at, 3 * entries).slice();
    });
  }

  /** Corrects pixels in place. at: where the first lies on the scan; null: they are the pre-scan's means. */
  apply(
    pixels: Uint8Array | Uint8ClampedArray,
    width: number,
    at: Point | null,
    format: Format,
    depth: Depth,
    chroma: number,
  ): void {
    const lines = pixels.length / (width * SAMPLES[format] * (depth / 8));
    const [x, y] = at ?? [0, 0];
    const call = this.engine.calls.web_apply;
    this.engine.withMemory(pixels.length, (to) => {
      this.engine.bytes(to, pixels.length).set(pixels);
      if (!call(this.handle, to, width, lines, x, y, FORMATS[format], DEPTHS[depth], chroma, +(at === null))) {
        throw new EngineError('the pixels cannot be corrected');
      }
      pixels.set(this.engine.bytes(to, pixels.length));
    });
  }
}

/** Scans that are finished together. To be closed. */
export class Roll {
  readonly handle: Pointer;
  constructor(readonly engine: Engine) {
    this.handle = engine.calls.web_roll_new();
  }
  close(): void {
    this.engine.calls.web_roll_delete(this.handle);
  }
  /** False: this kind shares nothing. */
  add(scan: Scan): boolean {
    return this.engine.calls.web_roll_add(this.handle, scan.handle) !== 0;
  }
  /** False: too few belong together. */
  solve(): boolean {
    return this.engine.calls.web_roll_solve(this.handle) !== 0;
  }
}
