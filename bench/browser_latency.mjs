// node bench/browser_latency.mjs
//
// How long one call of a web page takes, from a page in headless Chromium by way of the extension and
// the native program under Wine. Each round measures, one after the other:
//
// * the program's own echo: a process sends it a message, and has the answer;
// * an extension's own echo, without a program: a page's message to its service worker and back;
// * both in one, by an extension that passes messages on and does nothing else: the least that the
//   browser takes, whatever an extension does;
// * the call itself, with the page's library and the extension's checks.
//
// Run scripts/demo --browser once before: it installs and builds what this needs.

import {appendFileSync, mkdirSync, mkdtempSync, readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';

import {extensionId} from '../hosts/browser/make_installation.mjs';
import {Browser} from '../hosts/browser/stage/browser.mjs';
import {servePages} from '../hosts/browser/stage/page_server.mjs';
import {ROOT, Stage} from '../hosts/browser/stage/stage.mjs';
import {NativeConnection} from './browser/native_connection.mjs';
import {median, report} from './browser/rows.mjs';

const ROUNDS = 15;
const ROUND_TRIPS = 100; // in a round
const PLAIN_EXTENSION = join(ROOT, 'bench/browser/plain_extension');
const PLAIN_NAME = 'launcher.plain';
const NANOSECONDS = 1e6; // in a millisecond

/** Lets the extension without checks start the program, too. Returns its id. */
function installPlainExtension(stage, {program, originList}) {
  const {key} = JSON.parse(readFileSync(join(PLAIN_EXTENSION, 'manifest.json'), 'utf8'));
  const id = extensionId(key);
  appendFileSync(originList, `chrome-extension://${id}\n`);
  const manifest = {
    name: PLAIN_NAME,
    description: 'The native program, for measurements',
    path: program,
    type: 'stdio',
    allowed_origins: [`chrome-extension://${id}/`],
  };
  writeFileSync(
    join(stage.profile, 'NativeMessagingHosts', `${PLAIN_NAME}.json`), JSON.stringify(manifest),
  );
  return id;
}

/** Opens all ways of the page to measure: functions of the page that take a number there and back. */
function openWays(browser, plainId) {
  return browser.run(async (plainId) => {
    const {connectLauncher} = await import('/launcher.js');
    const launcher = await connectLauncher();
    const plainWay = (name) => {
      const port = chrome.runtime.connect(plainId, {name});
      return (message) =>
        new Promise((resolve) => {
          const listener = (answer) => {
            port.onMessage.removeListener(listener);
            resolve(answer);
          };
          port.onMessage.addListener(listener);
          port.postMessage(message);
        });
    };
    const extension = plainWay('echo');
    const program = plainWay('program');
    const hello = {origin: location.origin, protocol: 1};
    await program({id: 0, method: 'hello', params: hello});
    globalThis.ways = {
      call: (i) => launcher.echo(i),
      extension: (i) => extension({id: i, method: 'echo', params: {value: i}}),
      program: (i) => program({id: i, method: 'echo', params: {value: i}}),
    };
  }, plainId);
}

/** Milliseconds for one round trip. The page's clock is too coarse to time them one by one. */
function measureInPage(browser, way) {
  return browser.run(
    async (way, count) => {
      const start = performance.now();
      for (let i = 1; i <= count; ++i) await globalThis.ways[way](i);
      return (performance.now() - start) / count;
    },
    way,
    ROUND_TRIPS,
  );
}

async function measureDirectly(connection) {
  const start = performance.now();
  for (let i = 1; i <= ROUND_TRIPS; ++i) {
    await connection.call({id: i, method: 'echo', params: {value: i}});
  }
  return (performance.now() - start) / ROUND_TRIPS;
}

mkdirSync(join(ROOT, 'build'), {recursive: true});
const stage = new Stage({
  work: mkdtempSync(join(ROOT, 'build/browser-bench-')),
  build: process.env.LAUNCHER_BUILD,
});
stage.setUp();
const page = await servePages({
  extraPages: {'/empty.html': '<!doctype html><title>empty</title>'},
});
const installation = stage.install({origins: [page.origin]});
const plainId = installPlainExtension(stage, installation);
let browser;
try {
  const connection = await NativeConnection.open(installation, page.origin);
  browser = await Browser.start({
    profile: stage.profile,
    extension: `${installation.extension},${PLAIN_EXTENSION}`,
    headless: true,
  });
  await browser.allow(installation, page.origin);
  await browser.open(`${page.origin}/empty.html`);
  await openWays(browser, plainId);

  const rounds = [];
  for (let i = 0; i < ROUNDS; ++i) {
    rounds.push({
      program: await measureDirectly(connection),
      extension: await measureInPage(browser, 'extension'),
      plain: await measureInPage(browser, 'program'),
      call: await measureInPage(browser, 'call'),
    });
  }
  const compare = (row, baseline) => {
    const of = (pick) => median(rounds.map(pick));
    report({
      name: "a web page's call", unit: 'ratio', value: of((round) => round.call / baseline(round)),
      subject: of(({call}) => call) * NANOSECONDS, baseline: of(baseline) * NANOSECONDS, ...row,
    });
  };
  compare(
    {against: "the program's own echo and an extension's own echo", goal: 3},
    ({program, extension}) => program + extension,
  );
  compare({against: 'the same by an extension without checks', goal: 1.2}, ({plain}) => plain);
  compare({name: "a web page's call, in echoes of the program", goal: 0}, ({program}) => program);
  await connection.end();
} finally {
  await browser?.end();
  page.close();
  await stage.clear();
  stage.remove();
}
