// All scans, as they come out, with what is to be looked at marked.
import { useEffect, useRef } from 'preact/hooks';
import { Thumb } from './picture.tsx';
import { closeScan, select, titleOf, type Scan, type State } from './store.ts';
import { pick } from './app.tsx';

const WORDS = {
  good: 'good',
  look: 'please look',
  ask: 'please say what it is',
  failed: 'no correction found',
  '': '',
} as const;

const stateOf = (scan: Scan): string => {
  if (scan.state === 'failed') return 'cannot be opened';
  if (!scan.updated) return 'opening';
  return WORDS[scan.updated.told.verdict];
};

function Item({ scan, current }: { scan: Scan; current: boolean }) {
  const item = useRef<HTMLLIElement>(null);
  useEffect(() => {
    if (current) item.current?.scrollIntoView({ block: 'nearest', inline: 'nearest' });
  }, [current]);
  const told = stateOf(scan);
  const verdict = scan.state === 'failed' ? 'failed' : (scan.updated?.told.verdict ?? '');
  const name = titleOf(scan);
  return (
    <li ref={item}>
      <button class="thumb" aria-current={current} onClick={() => select(scan.id)} title={`${name}: ${told}`}>
        <span class="picture">
          {scan.updated ? (
            <Thumb pixels={scan.updated.after} orientation={scan.opened?.orientation ?? 1} />
          ) : (
            <span class="blank" />
          )}
        </span>
        <span class="name">
          <span class={`dot ${verdict}`} aria-hidden="true" />
          {name}
          <span class="unseen">, {told}</span>
        </span>
      </button>
      <button class="close" aria-label={`Close ${name}`} onClick={() => closeScan(scan.id)}>
        ×
      </button>
    </li>
  );
}

export function Strip({ state }: { state: State }) {
  return (
    <nav class="strip" aria-label="Scans">
      <ul>
        {state.scans.map((scan) => (
          <Item key={scan.id} scan={scan} current={scan.id === state.current} />
        ))}
      </ul>
      <button class="add" onClick={pick}>
        Add scans
      </button>
    </nav>
  );
}
