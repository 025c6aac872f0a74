// libvips for what browsers do not open or write: TIFF, PNM, 16 bits. Five megabytes, loaded when first needed.
import type VipsModule from 'wasm-vips';

export type Vips = Awaited<ReturnType<typeof VipsModule>>;

/** Why such files are declined, or null. */
export function declined(): string | null {
  if (globalThis.crossOriginIsolated) return null;
  return 'TIFF, PNM and 16-bit scans cannot be opened here: this copy of the page is served without the headers that isolate it (docs/web.md). JPEG, PNG and WebP work.';
}

let loading: Promise<Vips> | undefined;

export function vips(): Promise<Vips> {
  const why = declined();
  if (why) return Promise.reject(new Error(why));
  loading ??= load();
  return loading;
}

async function load(): Promise<Vips> {
  const folder = new URL('vips/', globalThis.location.href.replace(/assets\/[^/]*$/, ''));
  const script = new URL('vips-es6.js', folder).href;
  const module = (await import(/* @vite-ignore */ script)) as { default: typeof VipsModule };
  const made = await module.default({
    dynamicLibraries: [],
    locateFile: (name: string) => new URL(name, folder).href,
    mainScriptUrlOrBlob: script,
    print: () => {},
    printErr: () => {},
  });
  made.Cache.max(0);
  return made;
}
