// Pixels on the page.
import { useLayoutEffect, useRef } from 'preact/hooks';
import { Turn } from './turn.ts';

interface Props {
  pixels: ImageData | null | undefined;
  class?: string;
  label?: string;
  style?: Record<string, string>;
}

export function Picture({ pixels, label, style, ...rest }: Props) {
  const canvas = useRef<HTMLCanvasElement>(null);
  useLayoutEffect(() => {
    const to = canvas.current;
    if (!to || !pixels) return;
    if (to.width !== pixels.width) to.width = pixels.width;
    if (to.height !== pixels.height) to.height = pixels.height;
    to.getContext('2d')!.putImageData(pixels, 0, 0);
  }, [pixels]);
  const named = label ? { role: 'img' as const, 'aria-label': label } : { 'aria-hidden': true };
  return <canvas ref={canvas} class={rest.class} style={style} {...named} />;
}

const THUMB = 160;
const REST = 150; // milliseconds: while a slider moves, the large picture goes first

/** The same, small and upright. */
export function Thumb({ pixels, orientation }: { pixels: ImageData; orientation: number }) {
  const canvas = useRef<HTMLCanvasElement>(null);
  const scale = THUMB / Math.max(pixels.width, pixels.height);
  const [width, height] = [
    Math.max(1, Math.round(pixels.width * scale)),
    Math.max(1, Math.round(pixels.height * scale)),
  ];
  const turn = new Turn(orientation, width, height);
  useLayoutEffect(() => {
    let gone = false;
    const draw = async () => {
      const options = { resizeWidth: width, resizeHeight: height, resizeQuality: 'medium' } as const;
      const small = await createImageBitmap(pixels, options);
      const context = gone ? null : canvas.current?.getContext('2d');
      context?.setTransform(...turn.transform(1));
      context?.drawImage(small, 0, 0);
      small.close();
    };
    const timer = setTimeout(() => void draw(), REST);
    return () => {
      gone = true;
      clearTimeout(timer);
    };
  }, [pixels]);
  return <canvas ref={canvas} width={turn.width} height={turn.height} aria-hidden="true" />;
}
