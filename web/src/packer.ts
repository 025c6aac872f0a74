// One thread that packs.
import { deflated } from './zlib.ts';

self.onmessage = async ({ data }: MessageEvent<Uint8Array<ArrayBuffer>>) => {
  const packed = await deflated(data);
  self.postMessage(packed, { transfer: [packed.buffer] });
};
