// node bench/browser_program.mjs
//
// What the browser host's program uses, spoken to as the browser does:
//
// * the processor time that it spends on a response of the largest size, all included: the
//   launcher's decoding and text, reading that text, writing the answer;
// * what it uses of a core while nothing happens, and its memory.
//
// Run scripts/demo --browser once before: it installs and builds what this needs.

import {mkdirSync, mkdtempSync, readdirSync, readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {setTimeout} from 'node:timers/promises';

import {Program} from '../hosts/browser/stage/processes.mjs';
import {ROOT, Stage, windowsPath} from '../hosts/browser/stage/stage.mjs';
import {NativeConnection} from './browser/native_connection.mjs';
import {report} from './browser/rows.mjs';

const ORIGIN = 'https://games.example';
const QUERIES = 21;
const SETTLE_MS = 12_000; // the program looks for games more often for 10 seconds after a request
const IDLE_MS = 20_000;
const TICKS_PER_SECOND = 100;

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
const installation = stage.install({origins: [ORIGIN]});
try {
  const connection = await NativeConnection.open(installation, ORIGIN);
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
} finally {
  await stage.clear();
  stage.remove();
}
