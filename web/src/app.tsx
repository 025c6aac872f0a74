// The page as a whole: strip, table, panel; files that are dropped, keys that are pressed.
import { useEffect, useState } from 'preact/hooks';
import { Help } from './help.tsx';
import { onKey, onKeyUp } from './keys.ts';
import { Panel } from './panel.tsx';
import { change, expectScans, openFiles } from './store.ts';
import { Strip } from './strip.tsx';
import { Table } from './table.tsx';
import { useStore } from './use_store.ts';

// Folders hold other things, too: what a person drops by name is opened or refused, what lies beside it is not.
const SCANS = /\.(jpe?g|png|webp|avif|tiff?|p[bgnp]m|zep3\.json)$/i;

/** Files of a drop, also of folders. */
async function filesOf(items: DataTransferItemList): Promise<File[]> {
  const entries = [...items].map((item) => item.webkitGetAsEntry()).filter((entry) => entry !== null);
  const all = await Promise.all(entries.map(filesBelow));
  return all.flat().sort((a, b) => a.name.localeCompare(b.name, undefined, { numeric: true }));
}

async function filesBelow(entry: FileSystemEntry): Promise<File[]> {
  if (entry.isFile) {
    return [await new Promise<File>((resolve, reject) => (entry as FileSystemFileEntry).file(resolve, reject))];
  }
  const reader = (entry as FileSystemDirectoryEntry).createReader();
  const found: File[] = [];
  for (;;) {
    const some = await new Promise<FileSystemEntry[]>((resolve, reject) => reader.readEntries(resolve, reject));
    if (some.length === 0) return found;
    const wanted = some.filter(({ isDirectory, name }) => name[0] !== '.' && (isDirectory || SCANS.test(name)));
    found.push(...(await Promise.all(wanted.map(filesBelow))).flat());
  }
}

export function pick(): void {
  expectScans();
  document.querySelector<HTMLInputElement>('#files')?.click();
}

function Empty() {
  return (
    <section class="empty">
      <h1>Drop your scans here</h1>
      <p>Slides, negatives, prints, pages. One, or a whole roll.</p>
      <button class="main" onClick={pick}>
        Choose files
      </button>
      <p class="quiet">
        They stay on this computer: the page corrects them here, and sends nothing anywhere. JPEG, PNG, WebP, TIFF, PNM,
        of 8 and 16 bits.
      </p>
    </section>
  );
}

export function App() {
  const state = useStore();
  const [over, setOver] = useState(false);

  useEffect(() => {
    const release = () => change({ held: false });
    document.addEventListener('keydown', onKey);
    document.addEventListener('keyup', onKeyUp);
    window.addEventListener('blur', release);
    return () => {
      document.removeEventListener('keydown', onKey);
      document.removeEventListener('keyup', onKeyUp);
      window.removeEventListener('blur', release);
    };
  }, []);

  const drop = async (event: DragEvent) => {
    event.preventDefault();
    setOver(false);
    if (event.dataTransfer) await openFiles(await filesOf(event.dataTransfer.items));
  };

  return (
    <div
      class={`page ${over ? 'over' : ''} ${state.scans.length === 0 ? 'bare' : ''}`}
      onDragOver={(event) => {
        event.preventDefault();
        expectScans();
        setOver(true);
      }}
      onDragLeave={() => setOver(false)}
      onDrop={drop}
    >
      <input
        id="files"
        type="file"
        multiple
        hidden
        aria-label="Scans"
        onChange={(event) => {
          void openFiles([...(event.currentTarget.files ?? [])]);
          event.currentTarget.value = '';
        }}
      />
      {state.scans.length === 0 ? (
        <main>
          <Empty />
        </main>
      ) : (
        <>
          <Strip state={state} />
          <Table state={state} />
          <Panel state={state} />
        </>
      )}
      <p class="message" role="status">
        {state.message}
      </p>
      {state.help && <Help />}
    </div>
  );
}
