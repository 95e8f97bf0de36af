// Opens a generated web album in headless Chromium and checks it the way a visitor would use
// it: every page loads without a failed request, every link, image, style sheet and script
// resolves to a file inside the album folder, and the previous/next links walk every photo
// page in both directions. Saves screenshots of the first index page and of one photo page.
//
// usage: node check_album.mjs <chromium> <album-folder> <photo-count> <screenshot-prefix>
// Exit status: 0 passed, 1 failed (reasons on stderr).
import { createRequire } from 'node:module';
import fs from 'node:fs';
import path from 'node:path';
import { pathToFileURL, fileURLToPath } from 'node:url';

const require = createRequire(import.meta.url);
const nodeDir = process.env.QUORVANE_NODE_DIR;
const { chromium } = require(require.resolve('playwright-core', { paths: [nodeDir] }));

const [browserPath, albumArg, countArg, shotPrefix] = process.argv.slice(2);
const album = fs.realpathSync(albumArg);
const photoCount = Number(countArg);
const problems = [];
const problem = (text) => problems.push(text);

function insideAlbum(url) {
  if (!url.startsWith('file:')) return null;
  const file = fileURLToPath(url.split('#')[0].split('?')[0]);
  const relative = path.relative(album, file);
  if (relative.startsWith('..') || path.isAbsolute(relative)) return null;
  return file;
}

const browser = await chromium.launch({ executablePath: browserPath, args: ['--no-sandbox'] });
const page = await browser.newPage({ viewport: { width: 1100, height: 800 } });
page.on('requestfailed', (request) => problem(`request failed: ${request.url()}`));
page.on('pageerror', (error) => problem(`script error on ${page.url()}: ${error.message}`));

async function open(file) {
  const response = await page.goto(pathToFileURL(path.join(album, file)).href, { waitUntil: 'load' });
  if (!response || !response.ok()) problem(`${file} did not load`);
  // Lazy images load only near the viewport: make them all load to check them.
  await page.evaluate(() => document.querySelectorAll('img').forEach((img) => { img.loading = 'eager'; }));
  await page.waitForFunction(() => [...document.images].every((img) => img.complete), null, { timeout: 20000 });
  const refs = await page.evaluate(() => ({
    links: [...document.querySelectorAll('a[href]')].map((a) => a.href),
    images: [...document.images].map((img) => ({ src: img.currentSrc || img.src, ok: img.naturalWidth > 0 })),
    srcset: [...document.querySelectorAll('img[srcset]')].flatMap((img) =>
      img.getAttribute('srcset').split(',').map((part) => new URL(part.trim().split(/\s+/)[0], document.baseURI).href)),
    assets: [...document.querySelectorAll('link[href], script[src]')].map((e) => e.href || e.src),
    doctype: document.doctype ? document.doctype.name : '',
  }));
  if (refs.doctype !== 'html') problem(`${file} has no HTML5 doctype`);
  for (const url of [...refs.links, ...refs.srcset, ...refs.assets, ...refs.images.map((i) => i.src)]) {
    const target = insideAlbum(url);
    if (!target) problem(`${file} refers outside the album: ${url}`);
    else if (!fs.existsSync(target)) problem(`${file} refers to a missing file: ${url}`);
  }
  for (const image of refs.images) if (!image.ok) problem(`${file}: image did not decode: ${image.src}`);
  return refs;
}

const pages = fs.readdirSync(album).filter((name) => name.endsWith('.html')).sort();
for (const file of pages) await open(file);

// The walk: from the first photo on the first index page, next until there is none, then back.
const first = (await open('index.html')).links.map(insideAlbum)
  .find((file) => file && !path.basename(file).startsWith('index'));
if (!first) problem('index.html links to no photo page');
await page.screenshot({ path: `${shotPrefix}-index.png`, fullPage: true });
if (first) {
  const visited = [path.basename(first)];
  await open(visited[0]);
  await page.screenshot({ path: `${shotPrefix}-photo.png` });
  for (;;) {
    const next = await page.$('a[rel="next"]');
    if (!next) break;
    await Promise.all([page.waitForNavigation({ waitUntil: 'load' }), next.click()]);
    visited.push(path.basename(fileURLToPath(page.url())));
    if (visited.length > photoCount + 1) break;
  }
  if (visited.length !== photoCount) problem(`next walked ${visited.length} photo pages, not ${photoCount}`);
  if (new Set(visited).size !== visited.length) problem('next visited a page twice');
  let back = 1;
  for (;;) {
    const prev = await page.$('a[rel="prev"]');
    if (!prev) break;
    await Promise.all([page.waitForNavigation({ waitUntil: 'load' }), prev.click()]);
    if (++back > photoCount + 1) break;
  }
  if (back !== photoCount) problem(`previous walked ${back} photo pages, not ${photoCount}`);
  if (path.basename(fileURLToPath(page.url())) !== visited[0]) problem('previous did not end at the first photo');
}
await browser.close();
for (const text of problems) console.error(text);
console.log(`${pages.length} pages checked, ${problems.length} problems`);
process.exit(problems.length === 0 ? 0 : 1);
