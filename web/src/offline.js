// Keeps the page in the browser, so that it opens without a network. What is large comes in when it was first needed.
const NAME = '__NAME__';
const FILES = __FILES__;

self.addEventListener('install', (event) => {
  event.waitUntil(
    // It waits until the page is closed: an open one still loads files of its own version.
    caches.open(NAME).then((cache) => cache.addAll(FILES.map((file) => new Request(file, { cache: 'reload' })))),
  );
});

self.addEventListener('activate', (event) => {
  const others = (names) => names.filter((name) => name.startsWith('zep3-') && name !== NAME);
  event.waitUntil(
    caches
      .keys()
      .then((names) => Promise.all(others(names).map((name) => caches.delete(name))))
      .then(() => self.clients.claim()),
  );
});

const isOwn = ({ method, url }) =>
  method === 'GET' && url.startsWith(self.registration.scope) && !url.includes('/api/');

async function answer(request) {
  const cache = await caches.open(NAME);
  const kept = await cache.match(request, { ignoreSearch: true });
  if (kept) return kept;
  const fresh = await fetch(request);
  if (fresh.ok) await cache.put(request, fresh.clone()).catch(() => {}); // no room: it is loaded again
  return fresh;
}

self.addEventListener('fetch', (event) => {
  if (isOwn(event.request)) event.respondWith(answer(event.request));
});
