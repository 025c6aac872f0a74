import { render } from 'preact';
import { App } from './app.tsx';
import { openOffered } from './server.ts';
import './style.css';

render(<App />, document.getElementById('app')!);
void openOffered();

// Opens without a network from the second time on. Not while it is being written, where files change.
if (import.meta.env.PROD && 'serviceWorker' in navigator) {
  void navigator.serviceWorker.register('sw.js').catch(() => {}); // a browser that keeps nothing: the page works
}
