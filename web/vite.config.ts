import { copyFileSync, existsSync, mkdirSync, readdirSync, readFileSync, statSync, writeFileSync } from 'node:fs';
import { join, relative } from 'node:path';
import { createHash } from 'node:crypto';
import { fileURLToPath } from 'node:url';
import { defineConfig, type Plugin } from 'vite';

const here = fileURLToPath(new URL('.', import.meta.url));
const root = join(here, '..');
const dist = join(here, 'dist');
const ENGINE = ['zep3.wasm', 'zep3-more.wasm'];
const vips = join(here, 'node_modules/wasm-vips');
const BUNDLED = ['preact', 'uplot', 'fflate', 'wasm-vips'];

const version = /project\(zep3 VERSION ([\d.]+)/.exec(readFileSync(join(root, 'CMakeLists.txt'), 'utf8'))![1]!;

const filesBelow = (folder: string): string[] =>
  readdirSync(folder).flatMap((name) => {
    const path = join(folder, name);
    return statSync(path).isDirectory() ? filesBelow(path) : [path];
  });

/** The words of every package that the page brings along. */
function licences(): string {
  const words = BUNDLED.map((name) => {
    const folder = join(here, 'node_modules', name);
    const about = JSON.parse(readFileSync(join(folder, 'package.json'), 'utf8')) as {
      version: string;
      license: string;
    };
    const file = readdirSync(folder).filter((entry) => /^(licen[cs]e|third-party)/i.test(entry));
    const text = file.map((entry) => readFileSync(join(folder, entry), 'utf8').trim()).join('\n\n');
    return `${name} ${about.version} (${about.license})\n\n${text}`;
  });
  const own = `zep3 ${version} (MIT)\n\n${readFileSync(join(root, 'LICENSE'), 'utf8').trim()}`;
  return `${[own, ...words].join(`\n\n${'-'.repeat(78)}\n\n`)}\n`;
}

/** What the bundler does not know of: the engine, libvips, licences, and the worker that keeps the page for offline. */
function finishing(): Plugin {
  return {
    name: 'finishing',
    apply: 'build',
    closeBundle() {
      for (const name of ENGINE) {
        const made = join(root, 'build/web', name);
        if (!existsSync(made)) throw new Error(`build/web/${name} is missing: sh web/engine/build.sh makes it`);
        copyFileSync(made, join(dist, name));
      }
      mkdirSync(join(dist, 'vips'), { recursive: true });
      for (const name of ['vips-es6.js', 'vips.wasm']) copyFileSync(join(vips, 'lib', name), join(dist, 'vips', name));
      copyFileSync(join(here, 'src/vips_thread.js'), join(dist, 'vips/thread.js'));
      writeFileSync(join(dist, 'licences.txt'), licences());
      const files = filesBelow(dist).map((path) => relative(dist, path));
      const first = files.filter((name) => !name.startsWith('vips/') && name !== 'sw.js').sort();
      const hash = createHash('sha256');
      for (const name of files.sort()) hash.update(readFileSync(join(dist, name)));
      const worker = readFileSync(join(here, 'src/offline.js'), 'utf8')
        .replace('__FILES__', JSON.stringify(['./', ...first]))
        .replace('__NAME__', `zep3-${hash.digest('hex').slice(0, 16)}`);
      writeFileSync(join(dist, 'sw.js'), worker);
    },
  };
}

const isolating = { 'Cross-Origin-Opener-Policy': 'same-origin', 'Cross-Origin-Embedder-Policy': 'require-corp' };

export default defineConfig({
  root: here,
  base: './',
  define: { __VERSION__: JSON.stringify(version) },
  worker: { format: 'es' },
  build: { target: 'es2022', modulePreload: { polyfill: false }, assetsInlineLimit: 0 },
  preview: { headers: isolating },
  plugins: [finishing()],
});
