// Calls of the page to a worker, answered in their order.
import type { Calls } from './worker.ts';

interface Waiting {
  resolve: (result: never) => void;
  reject: (error: Error) => void;
}

/** The worker is gone, with all that it held. */
export class Ended extends Error {
  /** isCause: by this call; else it may be made again. */
  constructor(
    message: string,
    readonly isCause: boolean,
  ) {
    super(message);
  }
}

const ENDED =
  'the part of the page that does this ended, most likely for want of memory. The program takes scans of any size';

export class Client {
  private worker: Worker | null = null;
  private faults: BroadcastChannel | null = null;
  private readonly waiting = new Map<number, Waiting>();
  private count = 0;
  /** Of workers: how many there were before this one. */
  generation = 0;

  constructor(private readonly onProgress: (share: number) => void = () => {}) {}

  call<Name extends keyof Calls>(
    name: Name,
    ...words: Parameters<Calls[Name]>
  ): Promise<Awaited<ReturnType<Calls[Name]>>> {
    this.worker ??= this.start();
    const number = ++this.count;
    this.worker.postMessage({ number, name, words });
    return new Promise((resolve, reject) => this.waiting.set(number, { resolve, reject }));
  }

  /** Ends what is under way, and lets its memory go; the next call starts anew. */
  stop(why = 'stopped'): void {
    this.worker?.terminate();
    this.worker = null;
    this.faults?.close();
    this.generation++;
    const all = [...this.waiting.values()];
    this.waiting.clear();
    // Calls are answered in their order: the first one was under way.
    for (const [i, { reject }] of all.entries()) reject(new Ended(why, i === 0));
  }

  private start(): Worker {
    // A thread of libvips that ends leaves the worker waiting for it, deaf: so the thread itself tells.
    const channel = `zep3-${Date.now()}-${Math.random()}`;
    this.faults = new BroadcastChannel(channel);
    this.faults.onmessage = () => this.stop(ENDED);
    const worker = new Worker(new URL('./worker.ts', import.meta.url), { type: 'module', name: channel });
    worker.onmessage = ({ data }: MessageEvent) => {
      if (data.progress !== undefined) return this.onProgress(data.progress as number);
      if (data.ended) return this.stop(ENDED);
      const waiting = this.waiting.get(data.number as number);
      this.waiting.delete(data.number as number);
      if (data.error !== undefined) waiting?.reject(new Error(data.error as string));
      else waiting?.resolve(data.result as never);
    };
    worker.onerror = (event) => {
      if (this.worker === worker) this.stop(event.message ? ENDED : 'the page cannot load a part of itself');
    };
    return worker;
  }
}
