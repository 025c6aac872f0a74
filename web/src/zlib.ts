// Streams of zlib, by the browser's own coder.

async function through(bytes: Uint8Array, coder: CompressionStream | DecompressionStream) {
  const writer = coder.writable.getWriter();
  // What is wrong with the bytes is told by what comes out.
  writer.write(bytes as Uint8Array<ArrayBuffer>).catch(() => {});
  writer.close().catch(() => {});
  return new Uint8Array(await new Response(coder.readable).arrayBuffer());
}

export const deflated = (bytes: Uint8Array) => through(bytes, new CompressionStream('deflate'));
export const inflated = (bytes: Uint8Array) => through(bytes, new DecompressionStream('deflate'));
