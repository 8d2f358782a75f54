// node bench/browser_latency.mjs
//
// How long one call of a web page takes: 1,000 echoes one after the other, from a page in headless
// Chromium by way of the extension and the native program under Wine; and the same from a process
// that speaks to the native program itself. Run scripts/demo --browser once before: it installs and
// builds what this needs.

import {spawn} from 'node:child_process';
import {mkdirSync, mkdtempSync} from 'node:fs';
import {join} from 'node:path';

import {Browser} from '../hosts/browser/stage/browser.mjs';
import {servePages} from '../hosts/browser/stage/page_server.mjs';
import {PAGE_FOLDER, ROOT, Stage} from '../hosts/browser/stage/stage.mjs';

const ROUND_TRIPS = 1000;

function report(name, milliseconds) {
  const sorted = [...milliseconds].sort((a, b) => a - b);
  const at = (share) => sorted[Math.floor(share * (sorted.length - 1))].toFixed(3);
  console.log(`${name}: median ${at(0.5)} ms, 90th percentile ${at(0.9)} ms, least ${at(0)} ms`);
}

/** The native program, spoken to as the browser does. */
class DirectConnection {
  #received = Buffer.alloc(0);
  #waiting = null;

  constructor(program, extensionId) {
    this.process = spawn(program, [`chrome-extension://${extensionId}/`], {
      stdio: ['pipe', 'pipe', 'inherit'],
    });
    this.process.stdout.on('data', (bytes) => {
      this.#received = Buffer.concat([this.#received, bytes]);
      this.#deliver();
    });
  }

  call(message) {
    const text = Buffer.from(JSON.stringify(message));
    const length = Buffer.alloc(4);
    length.writeUInt32LE(text.length);
    this.process.stdin.write(Buffer.concat([length, text]));
    return new Promise((resolve) => (this.#waiting = resolve));
  }

  end() {
    this.process.stdin.end();
    return new Promise((resolve) => this.process.on('exit', resolve));
  }

  #deliver() {
    if (this.#received.length < 4) return;
    const end = 4 + this.#received.readUInt32LE();
    if (this.#received.length < end) return;
    const message = JSON.parse(this.#received.subarray(4, end));
    this.#received = this.#received.subarray(end);
    this.#waiting(message);
  }
}

async function measureDirectly({program, id}, origin) {
  const connection = new DirectConnection(program, id);
  await connection.call({id: 0, method: 'hello', params: {origin, protocol: 1}});
  const times = [];
  for (let i = 1; i <= ROUND_TRIPS; ++i) {
    const start = performance.now();
    await connection.call({id: i, method: 'echo', params: {value: i}});
    times.push(performance.now() - start);
  }
  await connection.end();
  return times;
}

function measureInPage(browser) {
  return browser.run(async (count) => {
    const {connectLauncher} = await import('/launcher.js');
    const launcher = await connectLauncher();
    const times = [];
    for (let i = 1; i <= count; ++i) {
      const start = performance.now();
      await launcher.echo(i);
      times.push(performance.now() - start);
    }
    launcher.close();
    return times;
  }, ROUND_TRIPS);
}

mkdirSync(join(ROOT, 'build'), {recursive: true});
const stage = new Stage({
  work: mkdtempSync(join(ROOT, 'build/browser-bench-')),
  build: process.env.LAUNCHER_BUILD,
});
stage.setUp();
const page = await servePages(PAGE_FOLDER, {
  extraPages: {'/empty.html': '<!doctype html><title>empty</title>'},
});
const installation = stage.install({origins: [page.origin]});
let browser;
try {
  report('the program alone', await measureDirectly(installation, page.origin));
  browser = await Browser.start({
    profile: stage.profile,
    extension: installation.extension,
    headless: true,
  });
  await browser.open(`${page.origin}/empty.html`);
  report('a call of a page', await measureInPage(browser));
} finally {
  await browser?.end();
  page.close();
  await stage.clear();
  stage.remove();
}
