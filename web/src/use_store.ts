import { useEffect, useState } from 'preact/hooks';
import { now, subscribe, type State } from './store.ts';

export function useStore(): State {
  const [state, setState] = useState(now());
  useEffect(() => {
    setState(now());
    return subscribe(() => setState(now()));
  }, []);
  return state;
}
