import { useEffect, useRef } from 'preact/hooks';
import { KEYS } from './keys.ts';
import { change } from './store.ts';

export function Help() {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => dialog.current?.showModal(), []);
  return (
    <dialog ref={dialog} aria-label="Keys" onClose={() => change({ help: false })}>
      <h2>Keys</h2>
      <dl>
        {KEYS.map(({ shown, text }) => (
          <div key={shown}>
            <dt>{shown}</dt>
            <dd>{text}</dd>
          </div>
        ))}
        <div>
          <dt>Ctrl z, Ctrl y</dt>
          <dd>undo, redo</dd>
        </div>
      </dl>
      <p class="quiet">
        Scans stay on this computer. <a href="licences.txt">Licences</a>
      </p>
      <button onClick={() => dialog.current?.close()}>Close</button>
    </dialog>
  );
}
