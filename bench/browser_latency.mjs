// node bench/browser_latency.mjs
//
// The browser host's figures, one row of JSON a line, as bench/report.py takes them (and appended to
// the file that BENCH_ROWS names):
//
// * how long one call of a web page takes: 1,000 echoes one after the other, from a page in headless
//   Chromium by way of the extension and the native program under Wine, against the same from a
//   process that speaks to the native program itself;
// * the processor time that the program spends on a response of the largest size, all included: the
//   launcher's decoding and text, reading that text, writing the answer;
// * what the program uses of a core while nothing happens, and its memory.
//
// Run scripts/demo --browser once before: it installs and builds what this needs.

import {spawn} from 'node:child_process';
import {appendFileSync, mkdirSync, mkdtempSync, readdirSync, readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {setTimeout} from 'node:timers/promises';

import {Browser} from '../hosts/browser/stage/browser.mjs';
import {servePages} from '../hosts/browser/stage/page_server.mjs';
import {Program} from '../hosts/browser/stage/processes.mjs';
import {ROOT, Stage, windowsPath} from '../hosts/browser/stage/stage.mjs';

const ROUND_TRIPS = 1000;
const QUERIES = 21;
const SETTLE_MS = 12_000; // the program looks for games more often for 10 seconds after a request
const IDLE_MS = 20_000;
const TICKS_PER_SECOND = 100;
const NANOSECONDS = 1e6; // in a millisecond

function median(values) {
  return [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
}

function report(row) {
  const line = JSON.stringify({
    platform: 'Wine', against: '', atLeast: false, baseline: 0, subject: 0, ...row,
  });
  console.log(line);
  if (process.env.BENCH_ROWS) appendFileSync(process.env.BENCH_ROWS, `${line}\n`);
}

/** The native program, spoken to as the browser does. */
class DirectConnection {
  #received = Buffer.alloc(0);
  #waiting = new Map(); // id of a request, or "event" -> resolve

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
    return this.#next(message.id);
  }

  /** The next event. */
  event() {
    return this.#next('event');
  }

  #next(key) {
    return new Promise((resolve) => this.#waiting.set(key, resolve));
  }

  end() {
    this.process.stdin.end();
    return new Promise((resolve) => this.process.on('exit', resolve));
  }

  #deliver() {
    while (this.#received.length >= 4) {
      const end = 4 + this.#received.readUInt32LE();
      if (this.#received.length < end) return;
      const message = JSON.parse(this.#received.subarray(4, end));
      this.#received = this.#received.subarray(end);
      this.#waiting.get(message.event ? 'event' : message.id)?.(message);
    }
  }
}

async function connectDirectly({program, id}, origin) {
  const connection = new DirectConnection(program, id);
  await connection.call({id: 0, method: 'hello', params: {origin, protocol: 1}});
  return connection;
}

async function measureDirectly(connection) {
  const times = [];
  for (let i = 1; i <= ROUND_TRIPS; ++i) {
    const start = performance.now();
    await connection.call({id: i, method: 'echo', params: {value: i}});
    times.push(performance.now() - start);
  }
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

/** 13 teams of 250 players without names: 65,044 bytes. */
function largestResponse() {
  const teams = 13;
  const players = 250;
  const player = Buffer.alloc(20); // id, two empty texts, rank, score, kills; version 7 has 20 bytes
  const head = Buffer.concat([
    Buffer.from([7, 1]),
    Buffer.alloc(8),
    Buffer.from([0, 0, 0, 0, 64, 0, teams - 1]), // mode, variant, section, map, places, waiting
    Buffer.alloc(teams, players),
    Buffer.alloc(teams - 1),
  ]);
  return Buffer.concat([head, ...Array.from({length: teams * players}, () => player)]);
}

/** The processor time of one query, in milliseconds. Other programs on the machine hardly change it. */
async function measureQueries(connection, stage, pid, ...options) {
  const server = new Program(join(ROOT, 'scripts/run-wine'), [
    join(stage.programs, 'demo_server.exe'), ...options,
  ]);
  try {
    const [, port] = await server.waitForLine(/listening on 127\.0\.0\.1:(\d+)/);
    const before = ticksOf(pid);
    for (let i = 0; i < QUERIES; ++i) {
      const params = {requestId: `q${i}`, gameId: '1', address: '127.0.0.1', port: Number(port)};
      const event = connection.event();
      await connection.call({id: 10_000 + i, method: 'queryServer', params});
      const message = await event;
      if (message.event.result?.status !== 'SUCCESS') throw new Error(JSON.stringify(message));
    }
    return ((ticksOf(pid) - before) * 1000) / TICKS_PER_SECOND / QUERIES;
  } finally {
    await server.end();
  }
}

/** The process of the native program, found by the list of origins that it was started with. */
function findProgram(work) {
  for (const pid of readdirSync('/proc').filter((name) => /^\d+$/.test(name))) {
    try {
      const words = readFileSync(`/proc/${pid}/cmdline`, 'utf8');
      if (words.includes('browser_host.exe') && words.includes(windowsPath(work))) {
        if (/^(?!.*(bash|setarch))/.test(words.split('\0')[0])) return pid;
      }
    } catch {
      // It has ended meanwhile.
    }
  }
  throw new Error('the native program was not found');
}

function ticksOf(pid) {
  const fields = readFileSync(`/proc/${pid}/stat`, 'utf8').replace(/^.*\) /, '').split(' ');
  return Number(fields[11]) + Number(fields[12]); // user and system time
}

function mebibytesOf(pid) {
  const [, kib] = readFileSync(`/proc/${pid}/smaps_rollup`, 'utf8').match(/^Pss:\s+(\d+)/m);
  return Number(kib) / 1024;
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
let browser;
try {
  const connection = await connectDirectly(installation, page.origin);
  const echo = median(await measureDirectly(connection));

  const answer = join(stage.work, 'largest');
  writeFileSync(answer, largestResponse());
  const pid = findProgram(stage.work);
  const largest = await measureQueries(
    connection, stage, pid, '--answer-file', windowsPath(answer),
  );
  report({
    name: "largest response of a game server, the program's processor time", goal: 50, unit: 'ms',
    value: largest,
  });

  await setTimeout(SETTLE_MS);
  const before = ticksOf(pid);
  await setTimeout(IDLE_MS);
  const seconds = (ticksOf(pid) - before) / TICKS_PER_SECOND;
  report({
    name: 'browser host, idle', goal: 0.2, unit: '% of a core',
    value: (100 * seconds) / (IDLE_MS / 1000),
  });
  report({name: 'memory of one connection', goal: 0, unit: 'MiB', value: mebibytesOf(pid)});
  await connection.end();

  browser = await Browser.start({
    profile: stage.profile,
    extension: installation.extension,
    headless: true,
  });
  await browser.allow(installation, page.origin);
  await browser.open(`${page.origin}/empty.html`);
  const call = median(await measureInPage(browser));
  report({
    name: "a web page's call", against: "the program's own echo", goal: 3, unit: 'ratio',
    value: call / echo, subject: call * NANOSECONDS, baseline: echo * NANOSECONDS,
  });
} finally {
  await browser?.end();
  page.close();
  await stage.clear();
  stage.remove();
}
