// Debian's Chromium, headless, with a folder of its own for each run.
import { mkdtempSync } from 'node:fs';
import { join } from 'node:path';
import { chromium } from 'playwright-core';
import { temporary } from './support.js';

const FLAGS = [
  '--no-sandbox',
  '--disable-gpu',
  '--disable-quic',
  '--no-first-run',
  '--disable-background-networking',
  '--disable-component-update',
  '--disable-sync',
];

export const launch = (options = {}) =>
  chromium.launchPersistentContext(mkdtempSync(join(temporary, 'profile-')), {
    executablePath: '/usr/bin/chromium',
    args: FLAGS,
    acceptDownloads: true,
    ...options,
  });

/** The page, with these scans opened and the one that is shown finished. Faults of the page are thrown at its end. */
export async function openPage(context, address, ...scans) {
  const page = await context.newPage();
  page.faults = [];
  page.on('pageerror', (error) => page.faults.push(String(error)));
  page.on('console', (message) => message.type() === 'error' && page.faults.push(message.text()));
  await page.goto(address);
  if (scans.length > 0) await addScans(page, ...scans);
  return page;
}

export async function addScans(page, ...scans) {
  await page.locator('#files').setInputFiles(scans);
  await settled(page);
}

/** All scans are opened or refused. */
export const settled = (page) =>
  page.waitForFunction(
    () =>
      !document.querySelector('.thumb .unseen') ||
      ![...document.querySelectorAll('.thumb .unseen')].some((told) => told.textContent.includes('opening')),
  );
