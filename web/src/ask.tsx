// Kinds that a scan may be of, side by side as it would come out: whoever has the original in hand sees which it is.
import { useEffect, useState } from 'preact/hooks';
import { Thumb } from './picture.tsx';
import { ask, set, type Scan } from './store.ts';

const WORDS: Record<string, string> = {
  negative: 'a colour negative',
  'bw-negative': 'a black-and-white negative',
  photo: 'a photo on paper',
  slide: 'a slide',
  'faded-print': 'a faded photo on paper',
  'faded-slide': 'a faded slide',
};

export function Ask({ scan }: { scan: Scan }) {
  const kinds = scan.updated?.plausible ?? [];
  const key = kinds.join();
  const [shown, setShown] = useState<Record<string, ImageData>>({});
  useEffect(() => {
    let gone = false;
    setShown({});
    const showAll = async () => {
      for (const kind of kinds) {
        const pixels = await ask('asKind', scan.id, scan.settings, kind).catch(() => null);
        if (gone) return;
        if (pixels) setShown((others) => ({ ...others, [kind]: pixels }));
      }
    };
    void showAll();
    return () => {
      gone = true;
    };
  }, [scan.id, key]);
  if (kinds.length === 0) return null;
  return (
    <section class="ask" aria-label="Which is it?">
      <h2>What lay on the scanner? The scan does not tell surely.</h2>
      <div class="kinds">
        {kinds.map((kind) => (
          <button key={kind} onClick={() => set({ kind }, `kind${kind}`)}>
            <span class="picture">
              {shown[kind] ? (
                <Thumb pixels={shown[kind]} orientation={scan.opened?.orientation ?? 1} />
              ) : (
                <span class="blank" />
              )}
            </span>
            {WORDS[kind] ?? kind}
          </button>
        ))}
      </div>
    </section>
  );
}
