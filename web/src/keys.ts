// Every key, here alone: the help lists them from this table.
import { change, copyToAll, currentScan, now, redo, reset, save, saveSidecars, set, step, undo } from './store.ts';
import { view } from './view.ts';

interface Key {
  keys: string[];
  shown: string;
  text: string;
  act: () => void;
}

const toggleTool = (tool: 'gray' | 'frame') => change({ tool: now().tool === tool ? 'none' : tool });
const nudge = (by: number) => () =>
  set({ exposure: Math.round(20 * ((currentScan()?.settings.exposure ?? 0) + by)) / 20 });

export const KEYS: Key[] = [
  { keys: ['o'], shown: 'o', text: 'open scans', act: () => document.querySelector<HTMLElement>('#files')?.click() },
  { keys: ['ArrowRight', 'ArrowDown', 'j'], shown: '→ ↓ j', text: 'next scan', act: () => step(1) },
  { keys: ['ArrowLeft', 'ArrowUp', 'k'], shown: '← ↑ k', text: 'scan before', act: () => step(-1) },
  { keys: [' ', 'h'], shown: 'h, space, held', text: 'see the scan as it was', act: () => change({ held: true }) },
  { keys: ['b'], shown: 'b', text: 'slider between before and after', act: () => change({ look: 'slider' }) },
  { keys: ['s'], shown: 's', text: 'side by side', act: () => change({ look: 'side' }) },
  { keys: ['a'], shown: 'a', text: 'after alone', act: () => change({ look: 'after' }) },
  { keys: ['0'], shown: '0', text: 'all of it', act: () => view.fit() },
  { keys: ['1'], shown: '1', text: '100 %', act: () => view.full() },
  { keys: ['+', '='], shown: '+', text: 'closer', act: () => view.zoom(1.25) },
  { keys: ['-'], shown: '-', text: 'farther', act: () => view.zoom(0.8) },
  { keys: ['.'], shown: '.', text: 'lighter', act: nudge(0.1) },
  { keys: [','], shown: ',', text: 'darker', act: nudge(-0.1) },
  { keys: ['g'], shown: 'g', text: 'gray pipette', act: () => toggleTool('gray') },
  { keys: ['f'], shown: 'f', text: 'corners of the picture', act: () => toggleTool('frame') },
  { keys: ['c'], shown: 'c', text: 'crop', act: () => set({ crop: !currentScan()?.settings.crop }) },
  { keys: ['y'], shown: 'y', text: 'copy settings to all', act: copyToAll },
  { keys: ['r'], shown: 'r', text: 'settings as at first', act: reset },
  { keys: ['w'], shown: 'w', text: 'save the picture', act: () => withCurrent((scan) => save([scan], 'same', false)) },
  { keys: ['x'], shown: 'x', text: 'save the correction', act: () => withCurrent((scan) => saveSidecars([scan])) },
  { keys: ['?'], shown: '?', text: 'these keys', act: () => change({ help: !now().help }) },
  { keys: ['Escape'], shown: 'Esc', text: 'put tools away', act: () => change({ tool: 'none', help: false }) },
];

function withCurrent(use: (scan: NonNullable<ReturnType<typeof currentScan>>) => void): void {
  const scan = currentScan();
  if (scan) use(scan);
}

// Arrows move what has the focus; letters are text in fields alone.
function isTaken(event: KeyboardEvent): boolean {
  const target = event.target as HTMLElement;
  if (target.closest('dialog') && event.key !== 'Escape') return true;
  if (target.matches('select, input[type="text"], input[type="number"]')) return true;
  const moves = event.key.startsWith('Arrow') || event.key === ' ' || event.key === '-' || event.key === '+';
  if (target.matches('input, [data-arrows]')) return moves;
  return event.key === ' ' && target.matches('button, summary, a');
}

export function onKey(event: KeyboardEvent): void {
  if ((event.ctrlKey || event.metaKey) && event.key.toLowerCase() === 'z') {
    event.preventDefault();
    return event.shiftKey ? redo() : undo();
  }
  if ((event.ctrlKey || event.metaKey) && event.key.toLowerCase() === 'y') {
    event.preventDefault();
    return redo();
  }
  if (event.ctrlKey || event.metaKey || event.altKey || isTaken(event)) return;
  const key = KEYS.find(({ keys }) => keys.includes(event.key));
  if (!key) return;
  event.preventDefault();
  key.act();
}

export function onKeyUp(event: KeyboardEvent): void {
  if (event.key === ' ' || event.key === 'h') change({ held: false });
}
