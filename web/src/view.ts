// How close the picture is, and which part of it shows. The table lays its own functions in here for keys.
export const view = {
  fit: (): void => {},
  full: (): void => {},
  zoom: (_by: number): void => {},
};

/** The scan's place in the table: pixels of the table to one of the scan, and where its corner lies. */
export interface Placed {
  scale: number;
  x: number;
  y: number;
}

export function fitted(width: number, height: number, room: { width: number; height: number }): Placed {
  const scale = Math.min(room.width / width, room.height / height, 4);
  return { scale, x: (room.width - width * scale) / 2, y: (room.height - height * scale) / 2 };
}

/** About a place of the table, which stays. */
export function zoomed(placed: Placed, scale: number, x: number, y: number): Placed {
  const by = scale / placed.scale;
  return { scale, x: x - (x - placed.x) * by, y: y - (y - placed.y) * by };
}

/** What shows of the scan, in whole pixels; null: nothing. */
export function shown(
  placed: Placed,
  room: { width: number; height: number },
  width: number,
  height: number,
): { x: number; y: number; width: number; height: number } | null {
  const left = Math.max(0, Math.floor(-placed.x / placed.scale));
  const top = Math.max(0, Math.floor(-placed.y / placed.scale));
  const right = Math.min(width, Math.ceil((room.width - placed.x) / placed.scale));
  const bottom = Math.min(height, Math.ceil((room.height - placed.y) / placed.scale));
  return right > left && bottom > top ? { x: left, y: top, width: right - left, height: bottom - top } : null;
}
