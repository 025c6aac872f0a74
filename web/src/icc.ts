// The gamma of an ICC profile, as the program finds it: of matrix and gray profiles.
import { SRGB_CURVE } from './engine.ts';

const SPREAD = 0.5; // standard deviation of the gamma beyond which an estimate says nothing
const SMALLEST = 0.5;
const LARGEST = 5;
const NODES = 4096;
const FOOT = 0.07; // below, curves are straight

type Curve = (x: number) => number;

function tagAt(profile: DataView, name: string): DataView | null {
  for (let i = 0, at = 132; i < profile.getUint32(128); i++, at += 12) {
    if (text(profile, at, 4) !== name) continue;
    const start = profile.getUint32(at + 4);
    return new DataView(profile.buffer, profile.byteOffset + start, profile.getUint32(at + 8));
  }
  return null;
}

function text(view: DataView, at: number, length: number): string {
  return String.fromCharCode(...new Uint8Array(view.buffer, view.byteOffset + at, length));
}

function curveOf(tag: DataView | null): Curve | null {
  if (tag === null) return null;
  const type = text(tag, 0, 4);
  if (type === 'curv') return tableCurve(tag);
  return type === 'para' ? parametricCurve(tag) : null;
}

function tableCurve(tag: DataView): Curve {
  const count = tag.getUint32(8);
  if (count === 0) return (x) => x;
  if (count === 1) {
    const gamma = tag.getUint16(12) / 256;
    return (x) => x ** gamma;
  }
  const value = (i: number) => tag.getUint16(12 + 2 * i) / 65535;
  return (x) => {
    const at = x * (count - 1);
    const below = Math.min(Math.floor(at), count - 2);
    return value(below) + (at - below) * (value(below + 1) - value(below));
  };
}

// ICC.1:2010, 10.16.
function parametricCurve(tag: DataView): Curve | null {
  const p = (i: number) => tag.getInt32(12 + 4 * i) / 65536;
  switch (tag.getUint16(8)) {
    case 0:
      return (x) => x ** p(0);
    case 1:
      return (x) => (x >= -p(2) / p(1) ? (p(1) * x + p(2)) ** p(0) : 0);
    case 2:
      return (x) => (x >= -p(2) / p(1) ? (p(1) * x + p(2)) ** p(0) + p(3) : p(3));
    case 3:
      return (x) => (x >= p(4) ? (p(1) * x + p(2)) ** p(0) : p(3) * x);
    case 4:
      return (x) => (x >= p(4) ? (p(1) * x + p(2)) ** p(0) + p(5) : p(3) * x + p(6));
    default:
      return null;
  }
}

/** What a gray ramp becomes in light. */
function grayCurve(profile: DataView): Curve | null {
  if (text(profile, 16, 4) === 'GRAY') return curveOf(tagAt(profile, 'kTRC'));
  if (text(profile, 16, 4) !== 'RGB ') return null;
  const channels = ['r', 'g', 'b'].map((name) => {
    const colorant = tagAt(profile, `${name}XYZ`);
    return { curve: curveOf(tagAt(profile, `${name}TRC`)), weight: colorant ? colorant.getInt32(12) / 65536 : 0 };
  });
  const whole = channels.reduce((sum, { weight }) => sum + weight, 0);
  if (!(whole > 0) || channels.some(({ curve }) => curve === null)) return null;
  return (x) => channels.reduce((sum, { curve, weight }) => sum + weight * curve!(x), 0) / whole;
}

function estimate(curve: Curve): number | null {
  const gammas: number[] = [];
  for (let i = 1; i < NODES; i++) {
    const x = i / NODES;
    const y = curve(x);
    if (y > 0 && y < 1 && x > FOOT) gammas.push(Math.log(y) / Math.log(x));
  }
  if (gammas.length < 2) return null;
  const mean = gammas.reduce((sum, gamma) => sum + gamma, 0) / gammas.length;
  const variance = gammas.reduce((sum, gamma) => sum + (gamma - mean) ** 2, 0) / (gammas.length - 1);
  return Math.sqrt(variance) > SPREAD ? null : mean;
}

const srgbValue = (light: number) => (light <= 0.0031308 ? 12.92 * light : 1.055 * light ** (1 / 2.4) - 0.055);

/** Whether all curves are sRGB's within half a step of 8 bits. */
function isSrgb(profile: DataView): boolean {
  const names = text(profile, 16, 4) === 'GRAY' ? ['kTRC'] : ['rTRC', 'gTRC', 'bTRC'];
  const curves = names.map((name) => curveOf(tagAt(profile, name)));
  const isNear = (curve: Curve, x: number) => Math.abs(srgbValue(curve(x)) - x) <= 0.5 / 255;
  const steps = Array.from({ length: 256 }, (_, i) => i / 255);
  return curves.every((curve) => curve !== null && steps.every((x) => isNear(curve, x)));
}

/** In tenths, or SRGB_CURVE; null where the profile tells none. */
export function gammaOf(bytes: Uint8Array): number | null {
  try {
    const profile = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
    if (isSrgb(profile)) return SRGB_CURVE;
    const curve = grayCurve(profile);
    const gamma = curve ? estimate(curve) : null;
    return gamma !== null && gamma >= SMALLEST && gamma <= LARGEST ? Math.round(10 * gamma) : null;
  } catch {
    return null; // it ends before its tags do
  }
}

/** Its name; empty where it has none that is plain. */
export function nameOf(bytes: Uint8Array): string {
  try {
    const tag = tagAt(new DataView(bytes.buffer, bytes.byteOffset, bytes.length), 'desc');
    if (tag === null) return '';
    if (text(tag, 0, 4) === 'desc') return text(tag, 12, tag.getUint32(8)).split('\0')[0]!;
    const length = tag.getUint32(20);
    const at = tag.getUint32(24);
    return new TextDecoder('utf-16be').decode(new Uint8Array(tag.buffer, tag.byteOffset + at, length));
  } catch {
    return '';
  }
}
