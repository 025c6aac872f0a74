// A thread of libvips. Whoever waits for it hears nothing: where it ends by a fault, it tells the page itself.
import './vips-es6.js';

const tell = () => new BroadcastChannel(self.location.hash.slice(1)).postMessage('ended');
self.addEventListener('error', tell);
self.addEventListener('unhandledrejection', tell);
