// libvips for what browsers do not open or write: TIFF, PNM, 16 bits. Five megabytes, loaded when first needed.
import type VipsModule from 'wasm-vips';
import { Parts } from './parts.ts';

export type Vips = Awaited<ReturnType<typeof VipsModule>>;
export type Image = InstanceType<Vips['Image']>;

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
    mainScriptUrlOrBlob: new URL(`thread.js#${self.name}`, folder).href,
    print: () => {},
    printErr: () => {},
  });
  made.Cache.max(0);
  return made;
}

const READ_BYTES = 1 << 20;

/** A file that libvips reads in pieces: it is never whole in memory. */
export function sourceOf(library: Vips, file: Blob): InstanceType<Vips['SourceCustom']> {
  const source = new library.SourceCustom();
  const reader = new FileReaderSync();
  let at = 0;
  let from = 0;
  let window = new Uint8Array(0);
  source.onRead = (length) => {
    const wanted = Math.min(length, file.size - at);
    if (wanted <= 0) return undefined;
    if (at < from || at + wanted > from + window.length) {
      from = at;
      window = new Uint8Array(reader.readAsArrayBuffer(file.slice(at, at + Math.max(wanted, READ_BYTES))));
    }
    const piece = window.subarray(at - from, at - from + wanted);
    at += piece.length;
    return piece;
  };
  source.onSeek = (offset, whence) => {
    at = offset + [0, at, file.size][whence]!;
    return at;
  };
  return source;
}

/** Writes an image, and keeps the parts outside of libvips' memory. */
export function written(library: Vips, image: Image, ending: string, options: object): Blob {
  const target = new library.TargetCustom();
  const parts = new Parts();
  target.onWrite = (data) => {
    parts.put(new Uint8Array(data));
    return data.length;
  };
  image.writeToTarget(target, ending, options);
  target.delete();
  return new Blob(parts.all());
}
