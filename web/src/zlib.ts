// Streams of zlib, by the browser's own coder.

const through = async (bytes: Uint8Array, coder: CompressionStream | DecompressionStream) =>
  new Uint8Array(
    await new Response(new Blob([bytes as Uint8Array<ArrayBuffer>]).stream().pipeThrough(coder)).arrayBuffer(),
  );

export const deflated = (bytes: Uint8Array) => through(bytes, new CompressionStream('deflate'));
export const inflated = (bytes: Uint8Array) => through(bytes, new DecompressionStream('deflate'));
