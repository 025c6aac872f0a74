// A file that grows: the browser keeps its parts outside of the page's memory.

const GATHERED = 1 << 24; // bytes that become one part

export class Parts {
  private readonly parts: Blob[] = [];
  private gathered: Uint8Array<ArrayBuffer>[] = [];
  private waiting = 0;

  put(bytes: Uint8Array<ArrayBuffer>): void {
    this.gathered.push(bytes);
    this.waiting += bytes.length;
    if (this.waiting >= GATHERED) this.gather();
  }

  all(): Blob[] {
    this.gather();
    return this.parts;
  }

  private gather(): void {
    this.parts.push(new Blob(this.gathered));
    this.gathered = [];
    this.waiting = 0;
  }
}
