// What stands around the pixels in JPEG and PNG files: profile, resolution and words, read and carried over.
import { orientationOf, resized } from './exif.ts';
import { deflated, inflated } from './zlib.ts';

export type FileType = 'jpeg' | 'png' | 'tiff' | 'pnm' | 'webp' | 'other';

export interface Container {
  type: FileType;
  depth: 8 | 16;
  gray: boolean;
  alpha: boolean;
  profile: Uint8Array | null;
  /** How it is to be seen, 1 to 8. */
  orientation: number;
  /** The block of EXIF fields. */
  exif: Uint8Array | null;
  /** Parts that a result of the same type takes over as they are. */
  carried: Uint8Array[];
}

const starts = (bytes: Uint8Array, ...values: number[]) => values.every((value, i) => bytes[i] === value);
const ascii = (bytes: Uint8Array, at: number, length: number) =>
  String.fromCharCode(...bytes.subarray(at, at + length));

export function typeOf(bytes: Uint8Array): FileType {
  if (starts(bytes, 0xff, 0xd8, 0xff)) return 'jpeg';
  if (starts(bytes, 0x89, 0x50, 0x4e, 0x47)) return 'png';
  if (starts(bytes, 0x49, 0x49) && (bytes[2] === 42 || bytes[2] === 43)) return 'tiff';
  if (starts(bytes, 0x4d, 0x4d, 0) && (bytes[3] === 42 || bytes[3] === 43)) return 'tiff';
  if (bytes[0] === 0x50 && bytes[1]! >= 0x31 && bytes[1]! <= 0x36) return 'pnm';
  if (ascii(bytes, 0, 4) === 'RIFF' && ascii(bytes, 8, 4) === 'WEBP') return 'webp';
  return 'other';
}

export const plainContainer = (type: FileType): Container => ({
  type,
  depth: 8,
  gray: false,
  alpha: false,
  profile: null,
  orientation: 1,
  exif: null,
  carried: [],
});

export async function readContainer(bytes: Uint8Array): Promise<Container> {
  const type = typeOf(bytes);
  const plain = plainContainer(type);
  plain.exif = exifIn(bytes)?.slice() ?? null;
  if (plain.exif) plain.orientation = orientationOf(plain.exif);
  if (type === 'jpeg') return readJpeg(bytes, plain);
  if (type === 'png') return readPng(bytes, plain);
  if (type === 'webp') return { ...plain, profile: webpChunk(bytes, 'ICCP')?.slice() ?? null };
  return plain;
}

/** The block of EXIF fields where it stands. */
function exifIn(bytes: Uint8Array): Uint8Array | null {
  const type = typeOf(bytes);
  if (type === 'jpeg') {
    for (const { marker, whole } of jpegSegments(bytes)) {
      if (marker === 0xe1 && ascii(whole, 4, 6) === EXIF_HEAD) return whole.subarray(4 + EXIF_HEAD.length);
    }
  }
  if (type === 'png') {
    for (const { name, data } of pngChunks(bytes)) if (name === 'eXIf') return data;
  }
  return type === 'webp' ? webpChunk(bytes, 'EXIF') : null;
}

/** Browsers turn what they open: a file of which they do not know how. */
export function asStored(bytes: Uint8Array): void {
  const exif = exifIn(bytes);
  if (exif) orientationOf(exif, 1);
}

export function concatenated(parts: Uint8Array[]): Uint8Array<ArrayBuffer> {
  const whole = new Uint8Array(parts.reduce((sum, part) => sum + part.length, 0));
  let at = 0;
  for (const part of parts) {
    whole.set(part, at);
    at += part.length;
  }
  return whole;
}

// ---- JPEG ----

const EXIF_HEAD = 'Exif\0\0';
const PROFILE_HEAD = 14; // "ICC_PROFILE", a zero, the part's number and their count

/** Segments before the picture, with their markers. */
function* jpegSegments(bytes: Uint8Array): Generator<{ marker: number; whole: Uint8Array }> {
  for (let at = 2; at + 4 <= bytes.length && bytes[at] === 0xff;) {
    const marker = bytes[at + 1]!;
    if (marker === 0xda) return;
    const length = 2 + ((bytes[at + 2]! << 8) | bytes[at + 3]!);
    yield { marker, whole: bytes.subarray(at, at + length) };
    at += length;
  }
}

const isFrame = (marker: number) => marker >= 0xc0 && marker <= 0xcf && ![0xc4, 0xc8, 0xcc].includes(marker);
// JFIF, EXIF and XMP, profile, IPTC, comments; not the colours' transform, which belongs to the old coding.
const isCarried = (marker: number) => (marker >= 0xe0 && marker <= 0xed) || marker === 0xfe;

function readJpeg(bytes: Uint8Array, container: Container): Container {
  const profile: Uint8Array[] = [];
  let inks = false;
  for (const { marker, whole } of jpegSegments(bytes)) {
    if (isFrame(marker)) [container.gray, inks] = [whole[9] === 1, whole[9] === 4];
    if (isCarried(marker)) container.carried.push(whole.slice());
    if (marker === 0xe2 && ascii(whole, 4, 11) === 'ICC_PROFILE') profile.push(whole.subarray(4 + PROFILE_HEAD));
  }
  if (profile.length > 0) container.profile = concatenated(profile);
  // The browser makes red, green and blue of inks: their profile does not fit any more.
  return inks ? withoutProfile(container) : container;
}

const isProfile = (part: Uint8Array) => ascii(part, 4, 11) === 'ICC_PROFILE' || ascii(part, 4, 4) === 'iCCP';

/** For pixels of other channels than the profile's. */
export function withoutProfile(container: Container): Container {
  return { ...container, profile: null, carried: container.carried.filter((part) => !isProfile(part)) };
}

const SEGMENT_MOST = 65533; // bytes behind its length

function exifSegment(exif: Uint8Array | null): Uint8Array[] {
  const length = 2 + EXIF_HEAD.length + (exif?.length ?? 0);
  if (exif === null || length > SEGMENT_MOST) return [];
  const head = [0xff, 0xe1, length >> 8, length & 255, ...new TextEncoder().encode(EXIF_HEAD)];
  return [concatenated([Uint8Array.from(head), exif])];
}

function profileSegments(profile: Uint8Array | null): Uint8Array[] {
  if (profile === null) return [];
  const most = 65519;
  const count = Math.ceil(profile.length / most);
  return Array.from({ length: count }, (_, i) => {
    const part = profile.subarray(i * most, (i + 1) * most);
    const length = 2 + PROFILE_HEAD + part.length;
    const head = [0xff, 0xe2, length >> 8, length & 255, ...new TextEncoder().encode('ICC_PROFILE'), 0, i + 1, count];
    return concatenated([Uint8Array.from(head), part]);
  });
}

function fillJpeg(bytes: Uint8Array, from: Container): Uint8Array<ArrayBuffer> {
  const own = [...jpegSegments(bytes)];
  const kept = own.filter(({ marker }) => !isCarried(marker)).map(({ whole }) => whole);
  const first = from.type === 'jpeg' ? from.carried : [...exifSegment(from.exif), ...profileSegments(from.profile)];
  const end = own.reduce((sum, { whole }) => sum + whole.length, 2);
  const jfif = from.type === 'jpeg' ? [] : own.filter(({ marker }) => marker === 0xe0).map(({ whole }) => whole);
  return concatenated([bytes.subarray(0, 2), ...jfif, ...first, ...kept, bytes.subarray(end)]);
}

// ---- PNG ----

const CARRIED_CHUNKS = ['iCCP', 'gAMA', 'cHRM', 'sRGB', 'pHYs', 'tEXt', 'iTXt', 'zTXt', 'eXIf'];

function* pngChunks(bytes: Uint8Array): Generator<{ name: string; data: Uint8Array; whole: Uint8Array }> {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
  for (let at = 8; at + 12 <= bytes.length;) {
    const length = view.getUint32(at);
    const whole = bytes.subarray(at, at + 12 + length);
    yield { name: ascii(bytes, at + 4, 4), data: whole.subarray(8, 8 + length), whole };
    at += whole.length;
  }
}

async function readPng(bytes: Uint8Array, container: Container): Promise<Container> {
  for (const { name, data, whole } of pngChunks(bytes)) {
    if (name === 'IHDR') {
      container.depth = data[8] === 16 ? 16 : 8;
      container.gray = data[9] === 0 || data[9] === 4;
      container.alpha = data[9]! >= 4;
    }
    if (name === 'tRNS') container.alpha = true;
    if (name === 'iCCP') container.profile = await inflated(data.subarray(data.indexOf(0) + 2));
    if (CARRIED_CHUNKS.includes(name)) container.carried.push(whole.slice());
  }
  return container;
}

function fillPng(bytes: Uint8Array, from: Container, told: Uint8Array[]): Uint8Array<ArrayBuffer> {
  const own = [...pngChunks(bytes)].filter(({ name }) => !CARRIED_CHUNKS.includes(name)).map(({ whole }) => whole);
  const carried = from.type === 'png' ? from.carried : told;
  return concatenated([bytes.subarray(0, 8), own[0]!, ...carried, ...own.slice(1)]);
}

function crcOf(bytes: Uint8Array): number {
  let crc = ~0;
  for (const byte of bytes) {
    crc ^= byte;
    for (let bit = 0; bit < 8; bit++) crc = (crc >>> 1) ^ (crc & 1 ? 0xedb88320 : 0);
  }
  return ~crc >>> 0;
}

export function chunkOf(name: string, data: Uint8Array): Uint8Array {
  const named = concatenated([new TextEncoder().encode(name), data]);
  const chunk = new Uint8Array(named.length + 8);
  const view = new DataView(chunk.buffer);
  view.setUint32(0, data.length);
  chunk.set(named, 4);
  view.setUint32(named.length + 4, crcOf(named));
  return chunk;
}

export async function profileChunk(profile: Uint8Array): Promise<Uint8Array> {
  return chunkOf('iCCP', concatenated([new TextEncoder().encode('icc\0\0'), await deflated(profile)]));
}

// ---- WebP ----

function webpChunk(bytes: Uint8Array, name: string): Uint8Array | null {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
  for (let at = 12; at + 8 <= bytes.length;) {
    const length = view.getUint32(at + 4, true);
    if (ascii(bytes, at, 4) === name) return bytes.subarray(at + 8, at + 8 + length);
    at += 8 + length + (length & 1);
  }
  return null;
}

/** What the scan carried, for a result of this size: EXIF tells it. */
export function ofSize(from: Container, width: number, height: number): Container {
  if (from.exif === null) return from;
  const exif = resized(from.exif, width, height);
  const carried = from.carried.map((part) => {
    if (ascii(part, 4, 6) === EXIF_HEAD) return exifSegment(exif)[0] ?? part;
    return ascii(part, 4, 4) === 'eXIf' ? chunkOf('eXIf', exif) : part;
  });
  return { ...from, exif, carried };
}

/** A finished file of the browser's, with what the scan's file carried. */
export async function fillContainer(bytes: Uint8Array, from: Container): Promise<Uint8Array<ArrayBuffer>> {
  if (typeOf(bytes) === 'jpeg') return fillJpeg(bytes, from);
  const profile = from.profile ? [await profileChunk(from.profile)] : [];
  return fillPng(bytes, from, from.exif ? [...profile, chunkOf('eXIf', from.exif)] : profile);
}
