// The built page on a port of its own, as a plain server of files gives it.
import { readFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { extname, join, normalize } from 'node:path';
import { root } from './support.js';

const TYPES = {
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript',
  '.css': 'text/css',
  '.wasm': 'application/wasm',
  '.svg': 'image/svg+xml',
  '.txt': 'text/plain; charset=utf-8',
};
const ISOLATING = { 'Cross-Origin-Opener-Policy': 'same-origin', 'Cross-Origin-Embedder-Policy': 'require-corp' };

/** asked: the paths of all requests; added: to the text of a file. */
export async function serve({ isolated = true, added = {} } = {}) {
  const asked = [];
  const server = createServer((request, response) => {
    const path = normalize(decodeURIComponent(new URL(request.url, 'http://page').pathname));
    asked.push(path);
    const file = join(root, 'web/dist', path.endsWith('/') ? `${path}index.html` : path);
    try {
      const body = Buffer.concat([readFileSync(file), Buffer.from(added[path] ?? '')]);
      response.writeHead(200, { 'Content-Type': TYPES[extname(file)] ?? '', ...(isolated ? ISOLATING : {}) });
      response.end(body);
    } catch {
      response.writeHead(404).end();
    }
  });
  await new Promise((listening) => server.listen(0, '127.0.0.1', listening));
  const address = `http://127.0.0.1:${server.address().port}/`;
  return { address, asked, close: () => server.close() };
}
