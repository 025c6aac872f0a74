// Files that libvips reads and writes piece by piece, so that none of them lies in its memory, which never shrinks.
import type { Vips } from './vips.ts';

const PART = 1 << 24; // bytes

/** The place of a whence: 0 from the beginning, 1 from where it stands, 2 from the end. */
const placeOf = (offset: number, whence: number, at: number, end: number) => Number(offset) + [0, at, end][whence]!;

/** Needs a worker, which may wait for a file. */
export function sourceOf(library: Vips, file: Blob): InstanceType<Vips['SourceCustom']> {
  const source = new library.SourceCustom();
  const reader = new FileReaderSync();
  let at = 0;
  source.onRead = (length) => {
    const part = new Uint8Array(reader.readAsArrayBuffer(file.slice(at, at + Number(length))));
    at += part.length;
    return part as never;
  };
  source.onSeek = (offset, whence) => (at = placeOf(offset, whence, at, file.size));
  return source;
}

/** A file that is written, read and sought in, as TIFF asks for. */
export class Written {
  private readonly parts: Uint8Array<ArrayBuffer>[] = [];
  private at = 0;
  private end = 0;

  constructor(readonly target: InstanceType<Vips['TargetCustom']>) {
    target.onWrite = (bytes) => this.write(bytes);
    target.onRead = (length) => this.read(Number(length)) as never;
    target.onSeek = (offset, whence) => (this.at = placeOf(offset, whence, this.at, this.end));
    target.onEnd = () => 0;
  }

  /** What was written; bytes of it may be replaced before. */
  blob(type: string): Blob {
    const last = this.end % PART;
    const whole = this.parts.map((part, i) =>
      i === this.parts.length - 1 && last > 0 ? part.subarray(0, last) : part,
    );
    return new Blob(whole, { type });
  }

  private write(bytes: Uint8Array): number {
    for (let from = 0; from < bytes.length;) {
      const index = Math.floor(this.at / PART);
      while (this.parts.length <= index) this.parts.push(new Uint8Array(PART));
      const piece = bytes.subarray(from, from + PART - (this.at % PART));
      this.parts[index]!.set(piece, this.at % PART);
      from += piece.length;
      this.at += piece.length;
    }
    this.end = Math.max(this.end, this.at);
    return bytes.length;
  }

  private read(length: number): Uint8Array {
    const offset = this.at % PART;
    const wanted = Math.min(length, this.end - this.at, PART - offset);
    const part = this.parts[Math.floor(this.at / PART)]?.slice(offset, offset + wanted) ?? new Uint8Array(0);
    this.at += part.length;
    return part;
  }
}
