// Finished files as one ZIP, stored as they are: pictures are small already.

// Sizes and places in a ZIP have 32 bits.
const MOST = 0xffff_0000;

export async function zipOf(files: { name: string; blob: Blob }[]): Promise<Blob> {
  if (files.reduce((sum, { blob }) => sum + blob.size, 0) > MOST) {
    throw new Error('a ZIP holds 4 GB at most; save the files one by one');
  }
  const { Zip, ZipPassThrough } = await import('fflate');
  const parts: Uint8Array<ArrayBuffer>[] = [];
  const zip = new Zip((error, part) => {
    if (error) throw error;
    parts.push(part as Uint8Array<ArrayBuffer>);
  });
  for (const { name, blob } of files) {
    const entry = new ZipPassThrough(name);
    zip.add(entry);
    entry.push(new Uint8Array(await blob.arrayBuffer()), true);
  }
  zip.end();
  return new Blob(parts, { type: 'application/zip' });
}

/** Names that differ: 1.jpg, 1-2.jpg. */
export function distinct(names: string[]): string[] {
  const taken = new Set<string>();
  return names.map((name) => {
    const dot = name.lastIndexOf('.');
    const [stem, end] = dot > 0 ? [name.slice(0, dot), name.slice(dot)] : [name, ''];
    let free = name;
    for (let i = 2; taken.has(free.toLowerCase()); i++) free = `${stem}-${i}${end}`;
    taken.add(free.toLowerCase());
    return free;
  });
}
