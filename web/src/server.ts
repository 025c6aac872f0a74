// Scans that a program on this computer offers (zep3 view): api/ below the page's own address, when that ends in #scans.
import { openFiles, say, scanOf } from './store.ts';

interface Offered {
  name: string;
  /** A correction lies beside it. */
  sidecar: boolean;
}

export const isOffered = globalThis.location?.hash === '#scans';

const places = new Map<number, number>(); // scans of the page: their number at the server

async function ask(path: string, method = 'GET', body?: Blob): Promise<Response> {
  const answer = await fetch(new URL(`api/${path}`, document.baseURI), {
    method,
    ...(body ? { body, headers: { 'Content-Type': 'application/json' } } : {}),
  });
  if (!answer.ok) throw new Error((await answer.text()) || `the program answers ${answer.status}`);
  return answer;
}

/** Opens what is offered, with corrections that are there. */
export async function openOffered(): Promise<void> {
  if (!isOffered) return;
  try {
    const { scans } = (await (await ask('scans')).json()) as { scans: Offered[] };
    for (const [number, { name, sidecar }] of scans.entries()) {
      const files = [new File([await (await ask(`scans/${number}`)).blob()], name)];
      if (sidecar) files.push(new File([await (await ask(`scans/${number}/sidecar`)).blob()], `${name}.zep3.json`));
      const [id] = await openFiles(files);
      if (id !== undefined) places.set(id, number);
    }
  } catch (error) {
    say(`The program that opened this page does not answer: ${error instanceof Error ? error.message : error}`);
  }
}

/** Beside the scan. False: it did not come from a server. */
export async function writeBack(id: number, sidecar: Blob): Promise<boolean> {
  const place = places.get(id);
  if (place === undefined) return false;
  await ask(`scans/${place}/sidecar`, 'PUT', sidecar);
  say(`The correction of ${scanOf(id)?.file.name} was written beside it.`);
  return true;
}
