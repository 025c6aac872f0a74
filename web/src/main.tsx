import { render } from 'preact';
import { App } from './app.tsx';
import { isOffered, openOffered } from './server.ts';
import './style.css';

render(<App />, document.getElementById('app')!);
void openOffered();

// Opens without a network from the second time on. Not while it is being written, where files change, nor from a
// program, whose address is another each time.
if (import.meta.env.PROD && !isOffered && 'serviceWorker' in navigator) {
  void navigator.serviceWorker.register('sw.js').catch(() => {}); // a browser that keeps nothing: the page works
}
