// Scans that a program on this computer offers (zep3 view): api/ below the page's own address, when that ends in #scans.
import { openFiles, say, scanOf } from './store.ts';

interface Offered {
  name: string;
  /** A correction lies beside it. */
  sidecar: boolean;
}

export const isOffered = globalThis.location?.hash === '#scans';

const places = new Map<number, { number: number; pages: number }>(); // of scans: what the server has

async function ask(path: string, method = 'GET', body?: Blob): Promise<Response> {
  const answer = await fetch(new URL(`api/${path}`, document.baseURI), {
    method,
    ...(body ? { body, headers: { 'Content-Type': 'application/json' } } : {}),
  });
  if (!answer.ok) throw new Error((await answer.text()) || `the program answers ${answer.status}`);
  return answer;
}

function pagesOf(sidecar: string): number {
  try {
    return (JSON.parse(sidecar) as { pages: unknown[] }).pages.length;
  } catch {
    return 0;
  }
}

/** Opens what is offered, with corrections that are there. */
export async function openOffered(): Promise<void> {
  if (!isOffered) return;
  let scans: Offered[] = [];
  try {
    ({ scans } = (await (await ask('scans')).json()) as { scans: Offered[] });
  } catch (error) {
    say(`The program that opened this page does not answer: ${error instanceof Error ? error.message : error}`);
  }
  for (const [number, { name, sidecar }] of scans.entries()) {
    try {
      const files = [new File([await (await ask(`scans/${number}`)).blob()], name)];
      const text = sidecar ? await (await ask(`scans/${number}/sidecar`)).text() : '';
      if (sidecar) files.push(new File([text], `${name}.zep3.json`));
      const [id] = await openFiles(files);
      if (id !== undefined) places.set(id, { number, pages: pagesOf(text) });
    } catch (error) {
      say(`${name}: ${error instanceof Error ? error.message : error}`);
    }
  }
}

/** Beside the scan. False: it did not come from a server, or what is there tells of more pages than the page knows. */
export async function writeBack(id: number, pages: number, sidecar: Blob): Promise<boolean> {
  const place = places.get(id);
  if (place === undefined) return false;
  if (place.pages > pages) {
    say(`The correction beside ${scanOf(id)?.file.name} is of ${place.pages} pages and stays: this one is a file.`);
    return false;
  }
  await ask(`scans/${place.number}/sidecar`, 'PUT', sidecar);
  say(`The correction of ${scanOf(id)?.file.name} was written beside it.`);
  return true;
}
