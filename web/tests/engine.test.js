// The engine of the page against the program's: tables of the samples, by each kind that fits them.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';
import { runnerImport } from 'vite';
import { differences, pixelsOf, root, run, samples, temporary, zep3 } from './support.js';

const { module } = await runnerImport(join(root, 'web/src/engine.ts'));
const partOfEngine = (name) => readFileSync(join(root, 'build/web', name));
let second = 0; // how often the second part was asked for
const engine = await module.Engine.load(partOfEngine('zep3.wasm'), () => {
  second++;
  return partOfEngine('zep3-more.wasm');
});

function analysed(picture, kind, adaptive = true) {
  const { width, height, format, depth, pixels } = pixelsOf(picture);
  const scan = engine.scan(width, height, module.SRGB_CURVE);
  const line = pixels.length / height;
  scan.beginPrescan();
  for (let y = 0; y < height; y += scan.bandLines) {
    scan.addBand(pixels.subarray(y * line, (y + scan.bandLines) * line), y, format, depth);
  }
  scan.reset(kind);
  scan.analyse(adaptive, true, null);
  return scan;
}

const load = async (name) => (await runnerImport(join(root, 'web/src', name))).module;

const cases = [
  ['slide-faded.jpg', 'faded-slide'],
  ['slide-faded.jpg', 'slide'],
  ['print-faded.jpg', 'faded-print'],
  ['print-faded.jpg', 'photo'],
  ['negative-colour.jpg', 'negative'],
  ['negative-colour.jpg', 'faded-negative'],
  ['negative-bw.jpg', 'bw-negative'],
  ['strip.jpg', 'negative'],
  ['plate.jpg', 'document'],
  ['breviary.jpg', 'background'],
  ['breviary.jpg', 'ground-color'],
];

test('an engine whose second part cannot be loaded goes on when it can', async () => {
  let there = false;
  const other = await module.Engine.load(partOfEngine('zep3.wasm'), () => {
    if (!there) throw new Error('no network');
    return partOfEngine('zep3-more.wasm');
  });
  const scan = other.scan(64, 64, 22);
  scan.beginPrescan();
  const grays = Uint8Array.from({ length: 3 * 64 * 64 }, (_, i) => 40 + ((7 * i) % 160));
  scan.addBand(grays, 0, 'rgb', 8);
  scan.reset('negative');
  const stack = Object.values(other.calls).find((value) => value instanceof WebAssembly.Global);
  const atRest = stack.value;
  assert.throws(() => scan.analyse(true, true, null), /no network/);
  assert.equal(stack.value, atRest);
  there = true;
  scan.analyse(true, true, null);
  scan.close();
});

test('the first picture of a positive takes the first part of the engine alone', async () => {
  const { START } = await load('settings.ts');
  const { propose } = await load('decide.ts');
  for (const [sample, kind] of [
    ['print-faded.jpg', 'faded-print'],
    ['slide-faded.jpg', 'slide'],
  ]) {
    const scan = analysed(join(samples, sample), kind);
    await propose(scan, START, null);
    scan.tables(256);
    scan.close();
  }
  assert.equal(second, 0);
  analysed(join(samples, 'negative-colour.jpg'), 'negative').close();
  assert.equal(second, 1);
});

test('a frame of a roll by the standard analysis is finished by itself', async () => {
  const { START } = await load('settings.ts');
  const { propose } = await load('decide.ts');
  const scans = [1, 2, 3, 4].map((frame) => analysed(join(samples, `roll/${frame}.jpg`), 'negative'));
  const roll = new module.Roll(engine);
  assert.ok(scans.every((scan) => roll.add(scan)) && roll.solve());
  const points = async (analysis, together) => {
    const settings = { ...START, kind: 'negative', analysis, roll: together };
    return (await propose(scans[0], settings, roll)).record.points;
  };
  const alone = await points('standard', false);
  assert.notDeepEqual(await points('adaptive', true), alone);
  assert.deepEqual(await points('standard', true), alone);
  roll.close();
  for (const scan of scans) scan.close();
});

test('tables equal those of the program', () => {
  for (const [sample, kind] of cases) {
    const picture = join(samples, sample);
    for (const analysis of ['adaptive', 'standard']) {
      const scan = analysed(picture, kind, analysis === 'adaptive');
      const tables = JSON.parse(zep3('tables', '-k', kind, '--analysis', analysis, '--as', 'json', picture));
      const expected = [...tables.red, ...tables.green, ...tables.blue];
      const found = [...scan.tables(256)].map((level) => Math.floor((level + 128) / 257));
      const { count, most } = differences(found, expected);
      console.log(`${sample} ${kind} ${analysis}: ${count} of 768 entries differ, by ${most} at most`);
      assert.ok(most <= 1);
      scan.close();
    }
  }
});

test('a scan is read in bands as in one piece, of 8 and 16 bits', () => {
  const large = join(temporary, 'large.png');
  run('vips', 'resize', join(samples, 'plate.jpg'), large, '3.1', '--kernel', 'nearest');
  const deep = join(temporary, 'deep.png');
  run('vips', 'linear', large, `${join(temporary, 'deep.v')}`, '256', '37');
  run('vips', 'cast', join(temporary, 'deep.v'), deep, 'ushort');
  for (const picture of [large, deep]) {
    const scan = analysed(picture, 'document');
    const expected = JSON.parse(zep3('analyse', '--quiet', '-k', 'document', picture));
    assert.ok(scan.shrink === 3);
    const page = expected.pages[0];
    const { count, most } = differences(
      [...scan.tables(256)].map((level) => Math.floor((level + 128) / 257)),
      [...page.tables.red, ...page.tables.green, ...page.tables.blue],
    );
    console.log(`${picture.split('/').pop()}: ${count} of 768 entries differ, by ${most} at most`);
    assert.ok(most <= 1);
    scan.close();
  }
});

const analysedBy = (...words) => JSON.parse(zep3('analyse', '--quiet', ...words)).pages[0];

test('stops become the steps of the program', async () => {
  const { balanceOfStops, stepsOfStops } = await load('stops.ts');
  for (const [exposure, warmth, tint] of [
    [0.35, 0.4, 0],
    [-1.25, -0.7, 0.3],
    [2, 0.02, -1.9],
    [-0.05, 0, 0.16],
  ]) {
    const words = ['--exposure', exposure, '--warmth', warmth, '--tint', tint].map(String);
    const { record } = analysedBy('-k', 'photo', ...words, join(samples, 'plate.jpg'));
    const balance = [record.lColorBalanceR, record.lColorBalanceG, record.lColorBalanceB];
    assert.deepEqual([stepsOfStops(exposure), ...balanceOfStops(warmth, tint)], [record.lBrightness, ...balance]);
  }
});

test('a cut is that of the program', async () => {
  const { cutOf } = await load('frame.ts');
  const scan = join(samples, 'strip.jpg');
  for (const words of [
    [],
    ['--no-straighten'],
    ['--area', '200,100,400,300'],
    ['--corners', '250,120,700,180,670,405,220,345'],
  ]) {
    const result = join(temporary, 'cut.png');
    zep3('-k', 'negative', '--crop', ...words, scan, '-o', result, '--sidecar', '--overwrite', '--quiet');
    const { frame, crop, width, height } = JSON.parse(readFileSync(`${result}.zep3.json`, 'utf8')).pages[0];
    const cut = cutOf(frame.corners, frame.from === 'area', !words.includes('--no-straighten'), width, height);
    const near = [cut.x - crop.left, cut.y - crop.top, cut.degrees - crop.tilt].every((off) => Math.abs(off) < 1e-6);
    assert.ok(near && cut.width === crop.width && cut.height === crop.height, JSON.stringify([words, cut, crop]));
  }
});

test('the gamma of a profile is the one that the program finds', async () => {
  const { gammaOf } = await load('icc.ts');
  const { SRGB_CURVE } = await load('engine.ts');
  for (const profile of ['srgb', 'p3']) {
    const [icc, scan] = [join(temporary, `${profile}.icc`), join(temporary, `${profile}.jpg`)];
    run('vips', 'copy', join(samples, 'plate.jpg'), `${scan}[profile=${profile}]`);
    run('sh', '-c', `exiftool -b -icc_profile ${scan} > ${icc}`);
    assert.equal(gammaOf(readFileSync(icc)), SRGB_CURVE);
    assert.equal(analysedBy('-k', 'photo', scan).inputGamma10, 'sRGB');
  }
  assert.equal(gammaOf(new Uint8Array(40)), null);
});

test('film that its perforations tell is asked for among films', async () => {
  const { guessKind } = await load('decide.ts');
  const made = (name) => join(temporary, name);
  run('vips', 'colourspace', join(samples, 'strip.jpg'), made('gray-strip.png'), 'b-w');
  run('vips', 'colourspace', made('gray-strip.png'), made('bw-strip.png'), 'srgb');
  run('vips', 'invert', join(samples, 'strip.jpg'), made('slides.png')); // clear around black holes
  for (const [name, first, all] of [
    ['bw-strip.png', 'bw-negative', ['bw-negative', 'slide']],
    ['slides.png', 'slide', ['slide', 'negative', 'bw-negative']],
  ]) {
    const scan = analysed(made(name), 'photo');
    const { kind, plausible } = guessKind(scan);
    assert.deepEqual([kind, plausible], [first, all], name);
    scan.close();
  }
});
