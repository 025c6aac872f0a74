// What all processes below this one take: the browser has one for each of its parts.
import { readdirSync, readFileSync } from 'node:fs';

const TICKS = 100; // of a second, in /proc

/** What is read of each of them; those that end meanwhile are left out. */
function sumOver(read) {
  const parents = new Map();
  const tryRead = (act) => {
    try {
      return act();
    } catch {
      return 0; // it ended
    }
  };
  for (const id of readdirSync('/proc').filter((name) => /^\d+$/.test(name))) {
    tryRead(() => parents.set(id, fieldsOf(id)[1]));
  }
  const isBelow = (id) => parents.has(id) && (parents.get(id) === String(process.pid) || isBelow(parents.get(id)));
  return [...parents.keys()].filter(isBelow).reduce((sum, id) => sum + tryRead(() => read(id)), 0);
}

/** Behind the name: state, parent and so on. */
const fieldsOf = (id) =>
  readFileSync(`/proc/${id}/stat`, 'utf8')
    .replace(/^.*\) /s, '')
    .split(' ');

/** MB; what they share is counted once. */
export const memory = () =>
  sumOver((id) => Number(/^Pss:\s+(\d+)/m.exec(readFileSync(`/proc/${id}/smaps_rollup`, 'utf8'))[1]) / 1024);

/** Seconds of processor time, on all cores, so far. */
export const work = () =>
  sumOver((id) => {
    const fields = fieldsOf(id);
    return (Number(fields[11]) + Number(fields[12])) / TICKS;
  });
