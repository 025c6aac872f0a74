// Packing on several threads: it takes longer than all else that is done for a large TIFF.

const MOST = 4;

function packedBy(worker: Worker, piece: Uint8Array<ArrayBuffer>): Promise<Uint8Array<ArrayBuffer>> {
  return new Promise((resolve, reject) => {
    worker.onmessage = ({ data }: MessageEvent<Uint8Array<ArrayBuffer>>) => resolve(data);
    worker.onerror = () => reject(new Error('the page cannot load a part of itself'));
    worker.postMessage(piece, [piece.buffer]);
  });
}

/** To be closed. */
export class Packers {
  private readonly workers: Worker[] = [];
  private readonly last: Promise<unknown>[] = []; // of each worker: it does one piece after the other
  private count = 0;

  /** As a stream of zlib; takes the piece with it. */
  pack(piece: Uint8Array<ArrayBuffer>): Promise<Uint8Array<ArrayBuffer>> {
    const lane = this.count++ % Math.min(MOST, navigator.hardwareConcurrency);
    const worker = (this.workers[lane] ??= new Worker(new URL('./packer.ts', import.meta.url), { type: 'module' }));
    const packed = (this.last[lane] ?? Promise.resolve()).then(() => packedBy(worker, piece));
    this.last[lane] = packed.catch(() => {});
    return packed;
  }

  close(): void {
    for (const worker of this.workers) worker.terminate();
  }
}
