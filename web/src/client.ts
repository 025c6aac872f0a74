// Calls of the page to a worker, answered in their order.
import type { Calls } from './worker.ts';

type Answer<Name extends keyof Calls> = Awaited<ReturnType<Calls[Name]>>;

interface Waiting {
  resolve: (result: never) => void;
  reject: (error: Error) => void;
}

export class Client {
  private worker: Worker | null = null;
  private readonly waiting = new Map<number, Waiting>();
  private count = 0;

  constructor(private readonly onProgress: (share: number) => void = () => {}) {}

  call<Name extends keyof Calls>(name: Name, ...words: Parameters<Calls[Name]>): Promise<Answer<Name>> {
    this.worker ??= this.start();
    const number = ++this.count;
    this.worker.postMessage({ number, name, words });
    return new Promise((resolve, reject) => this.waiting.set(number, { resolve, reject }));
  }

  /** Ends what is under way; the next call starts anew. */
  stop(): void {
    this.worker?.terminate();
    this.worker = null;
    this.fail('stopped');
  }

  private fail(why: string): void {
    const all = [...this.waiting.values()];
    this.waiting.clear();
    for (const { reject } of all) reject(new Error(why));
  }

  private start(): Worker {
    const worker = new Worker(new URL('./worker.ts', import.meta.url), { type: 'module' });
    worker.onmessage = ({ data }: MessageEvent) => {
      if (data.progress !== undefined) return this.onProgress(data.progress as number);
      const waiting = this.waiting.get(data.number as number);
      this.waiting.delete(data.number as number);
      if (data.error !== undefined) waiting?.reject(new Error(data.error as string));
      else waiting?.resolve(data.result as never);
    };
    // One that could not be loaded answers nothing any more: the next call starts anew.
    worker.onerror = (event) => {
      worker.terminate();
      if (this.worker === worker) this.worker = null;
      this.fail(event.message || 'the worker ended');
    };
    return worker;
  }
}
