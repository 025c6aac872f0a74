// What is said of the scan, and what can be changed.
import { useState } from 'preact/hooks';
import { Ask } from './ask.tsx';
import { Curves } from './curves.tsx';
import { rectangleOf, cornersOf, tiltOf } from './frame.ts';
import type { Corners } from './engine.ts';
import type { Target } from './finish.ts';
import type { Settings } from './settings.ts';
import {
  change,
  copyToAll,
  hasOtherKinds,
  kindToAll,
  makeRoll,
  redo,
  reset,
  save,
  saveSidecars,
  set,
  stopSaving,
  undo,
  type Scan,
  type State,
} from './store.ts';

const VERDICTS = {
  good: 'Good: nothing speaks against the result.',
  look: 'Please look at the result.',
  ask: 'Please say first what it is.',
  failed: 'No correction was found: the scan is blank or clipped.',
  '': '',
} as const;

/** Without the sign of a zero. */
const decimal = (value: number, places: number): string =>
  Number.isFinite(value) ? value.toFixed(places).replace(/^-(?=[0.]*$)/, '') : '–';

function Told({ scan }: { scan: Scan }) {
  const { updated, settings, opened } = scan;
  if (!updated) return null;
  const { told, measurements } = updated;
  const decided = settings.repeated
    ? 'Repeated from a correction that was opened.'
    : told.adaptive
      ? `Adaptive analysis, confidence ${told.confidence.toFixed(2)}.`
      : 'Standard analysis.';
  return (
    <section class="told" aria-label="What was found">
      <p class={`verdict ${told.verdict}`} role="status">
        <span class={`dot ${told.verdict}`} aria-hidden="true" />
        {VERDICTS[told.verdict]}
      </p>
      {told.reasons.length > 0 && (
        <ul>
          {told.reasons.map((reason) => (
            <li class={reason.against ? 'against' : ''}>{reason.sentence}</li>
          ))}
        </ul>
      )}
      <details>
        <summary>Evidence</summary>
        <p>
          {decided} The scan’s values are taken as {opened!.gamma} ({opened!.profile}).
        </p>
        <table>
          <tbody>
            {measurements.map(({ label, unit, text, values, decimals }) => (
              <tr title={text}>
                <th scope="row">{label}</th>
                <td>
                  {values.map((value) => decimal(value, decimals)).join(' / ')} {unit}
                </td>
              </tr>
            ))}
          </tbody>
        </table>
      </details>
    </section>
  );
}

/** Of a file with several. */
function Pages({ scan }: { scan: Scan }) {
  const count = scan.opened?.pages.length ?? 1;
  if (count === 1) return null;
  return (
    <section aria-label="Pages">
      <p class="quiet">
        One of {count} pages of this file, which are beside each other among the scans. A TIFF is saved with all of
        them, JPEG and PNG hold one.
      </p>
    </section>
  );
}

function Kinds({ state, scan }: { state: State; scan: Scan }) {
  const { settings, updated } = scan;
  const guessed = settings.kind === 'auto' && updated ? updated.kind : '';
  return (
    <section>
      <label>
        Kind of original
        <select
          value={settings.kind}
          onChange={(event) =>
            set({ kind: event.currentTarget.value, repeated: null }, `kind${event.currentTarget.value}`)
          }
        >
          <option value="auto">Guess{guessed && `: ${guessed}`}</option>
          {state.kinds.map(({ name, text }) => (
            <option value={name}>
              {name}: {text}
            </option>
          ))}
        </select>
      </label>
      {hasOtherKinds(scan) && <button onClick={kindToAll}>All {state.scans.length} scans are of this kind</button>}
      {guessed && <p class="quiet">A guess, and sometimes wrong: a scan does not tell surely what it was made from.</p>}
      <label>
        Analysis
        <select
          value={settings.analysis}
          onChange={(event) => set({ analysis: event.currentTarget.value as Settings['analysis'], repeated: null })}
        >
          <option value="adaptive">adaptive: colours together</option>
          <option value="standard">standard: channel by channel</option>
        </select>
      </label>
    </section>
  );
}

type Numeric = 'exposure' | 'contrast' | 'warmth' | 'tint' | 'saturation' | 'strength' | 'backlight';

interface Control {
  name: Numeric;
  text: string;
  min: number;
  max: number;
  step: number;
  unit: string;
  usual: number;
}

const CONTROLS: Control[] = [
  { name: 'exposure', text: 'Exposure', min: -3, max: 3, step: 0.05, unit: 'stops', usual: 0 },
  { name: 'contrast', text: 'Contrast', min: -99, max: 99, step: 1, unit: '%', usual: 0 },
  { name: 'warmth', text: 'Warmth', min: -2, max: 2, step: 0.02, unit: 'stops', usual: 0 },
  { name: 'tint', text: 'Tint', min: -2, max: 2, step: 0.02, unit: 'stops', usual: 0 },
  { name: 'saturation', text: 'Saturation', min: -100, max: 100, step: 1, unit: '%', usual: 0 },
  { name: 'strength', text: 'Strength', min: 0, max: 9, step: 1, unit: '', usual: 4 },
  { name: 'backlight', text: 'Backlight', min: 0, max: 8, step: 1, unit: '/ 8', usual: 0 },
];

function Slider({ control, settings }: { control: Control; settings: Settings }) {
  const { name, text, min, max, step, unit, usual } = control;
  const value = settings[name];
  const sign = value > 0 && min < 0 ? '+' : '';
  const shown = `${sign}${Number.isInteger(step) ? value : value.toFixed(2)} ${unit}`.trim();
  const off = settings.repeated !== null && (name === 'strength' || name === 'backlight');
  return (
    <div class="slider">
      <label for={name}>{text}</label>
      <input
        id={name}
        type="range"
        min={min}
        max={max}
        step={step}
        value={value}
        disabled={off}
        aria-valuetext={`${value} ${unit}`}
        onInput={(event) => set({ [name]: Number(event.currentTarget.value) }, name)}
      />
      <button
        class="value"
        disabled={off || value === usual}
        aria-label={`${shown}, ${text}; back to ${usual}`}
        title={`Back to ${usual}`}
        onClick={() => set({ [name]: usual }, `${name}-back`)}
      >
        {shown}
      </button>
    </div>
  );
}

function Place({ state, scan }: { state: State; scan: Scan }) {
  const { settings, updated, opened } = scan;
  const frame = updated?.frame ?? null;
  const toggle = (tool: State['tool']) => () => change({ tool: state.tool === tool ? 'none' : tool });
  const width = opened?.width ?? 1;
  const height = opened?.height ?? 1;
  const corners: Corners = frame?.corners ?? [
    [0, 0],
    [width, 0],
    [width, height],
    [0, height],
  ];
  const angle = tiltOf(corners);
  const turn = (degrees: number) => {
    const now = rectangleOf(corners);
    const [x, y] = corners.reduce(([a, b], [u, v]) => [a + u / 4, b + v / 4], [0, 0]);
    const upright: Corners = cornersOf({ ...now, x: x - now.width / 2, y: y - now.height / 2, degrees: 0 });
    const by = (degrees * Math.PI) / 180;
    const [cosine, sine] = [Math.cos(by), Math.sin(by)];
    const turned = upright.map(([u, v]) => [
      x + (u - x) * cosine - (v - y) * sine,
      y + (u - x) * sine + (v - y) * cosine,
    ]) as Corners;
    set({ frame: turned }, 'angle');
  };
  return (
    <section aria-label="Tools" class="tools">
      <div class="group">
        <button aria-pressed={state.tool === 'gray'} onClick={toggle('gray')}>
          Gray pipette
        </button>
        <button disabled={settings.gray === null} onClick={() => set({ gray: null })}>
          Without
        </button>
      </div>
      {state.tool === 'gray' && <p class="quiet">Click on something that was gray or white.</p>}
      <div class="group">
        <button aria-pressed={state.tool === 'frame'} onClick={toggle('frame')}>
          Corners
        </button>
        <button disabled={settings.frame === null} onClick={() => set({ frame: null })}>
          As found
        </button>
      </div>
      <p class="quiet">
        {settings.frame
          ? 'The corners are yours: what lies around them decides nothing.'
          : frame
            ? `A picture was found, confidence ${frame.confidence.toFixed(2)}${frame.pictures > 1 ? `; ${frame.pictures} pictures are seen whole` : ''}.`
            : 'The picture fills the scan, or was not found.'}
      </p>
      <label class="check">
        <input
          type="checkbox"
          checked={settings.crop}
          onChange={(event) => set({ crop: event.currentTarget.checked })}
        />
        Crop to the picture
      </label>
      <label class="check">
        <input
          type="checkbox"
          checked={settings.straighten}
          disabled={!settings.crop}
          onChange={(event) => set({ straighten: event.currentTarget.checked })}
        />
        Straighten
      </label>
      {settings.crop && (
        <div class="slider">
          <label for="angle">Angle</label>
          <input
            id="angle"
            type="range"
            min="-15"
            max="15"
            step="0.1"
            value={angle}
            aria-valuetext={`${angle.toFixed(1)} degrees`}
            onInput={(event) => turn(Number(event.currentTarget.value))}
          />
          <span class="value">{angle.toFixed(1)}°</span>
        </div>
      )}
    </section>
  );
}

/** What is saved, and how far that is: always in sight, below the rest. */
function Out({ state, scan }: { state: State; scan: Scan }) {
  const [target, setTarget] = useState<Target>('same');
  const [zip, setZip] = useState(true);
  const ready = state.scans.filter(({ updated }) => updated !== null);
  const { saving } = state;
  return (
    <>
      <section aria-label="Results" class="tools">
        <label>
          Save as
          <select value={target} onChange={(event) => setTarget(event.currentTarget.value as Target)}>
            <option value="same">the scan’s format</option>
            <option value="jpeg">JPEG</option>
            <option value="png">PNG</option>
            <option value="tiff">TIFF</option>
          </select>
        </label>
        {ready.length > 1 && (
          <label class="check">
            <input type="checkbox" checked={zip} onChange={(event) => setZip(event.currentTarget.checked)} />
            All in one ZIP
          </label>
        )}
        <div class="group">
          <button disabled={!scan.updated} onClick={() => void saveSidecars([scan])}>
            Save correction
          </button>
          {ready.length > 1 && <button onClick={() => void saveSidecars(ready)}>All corrections</button>}
        </div>
        <p class="quiet">
          The program repeats a correction: <code>zep3 --use-sidecar {scan.file.name}.zep3.json …</code>
        </p>
      </section>
      <section aria-label="Save" class="out">
        {saving ? (
          <div class="saving">
            <progress value={saving.done + saving.share} max={saving.count} aria-label="Saving" />
            <span>
              {saving.name}, {saving.done + 1} of {saving.count}
            </span>
            <button onClick={stopSaving}>Stop</button>
          </div>
        ) : (
          <div class="group">
            <button class="main" disabled={!scan.updated} onClick={() => void save([scan], target, false)}>
              Save picture
            </button>
            {ready.length > 1 && <button onClick={() => void save(ready, target, zip)}>Save all {ready.length}</button>}
          </div>
        )}
      </section>
    </>
  );
}

export function Panel({ state }: { state: State }) {
  const scan = state.scans.find(({ id }) => id === state.current)!;
  const { settings } = scan;
  return (
    <aside class="panel" aria-label="Correction">
      <Ask scan={scan} />
      <Told scan={scan} />
      <Pages scan={scan} />
      <Kinds state={state} scan={scan} />
      <section class="sliders" aria-label="Sliders">
        {CONTROLS.map((control) => (
          <Slider key={control.name} control={control} settings={settings} />
        ))}
        <label class="check">
          <input
            type="checkbox"
            checked={settings.even}
            onChange={(event) => set({ even: event.currentTarget.checked })}
          />
          Even the paper of documents
        </label>
      </section>
      <section aria-label="Curves">
        <Curves scan={scan} />
      </section>
      <Place state={state} scan={scan} />
      <section class="tools" aria-label="Settings">
        <div class="group">
          <button disabled={scan.past.length === 0} onClick={undo}>
            Undo
          </button>
          <button disabled={scan.future.length === 0} onClick={redo}>
            Redo
          </button>
          <button onClick={reset}>As at first</button>
        </div>
        {state.scans.length > 1 && (
          <div class="group">
            <button onClick={copyToAll}>Copy to all</button>
            <button onClick={() => void makeRoll()}>Finish together, as a roll</button>
          </div>
        )}
      </section>
      <Out state={state} scan={scan} />
    </aside>
  );
}
