// What an installation refuses, and what it says about the mend.

import assert from 'node:assert/strict';
import {spawnSync} from 'node:child_process';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';

import {whatIsWrongWith} from '../../hosts/browser/make_installation.mjs';

const PROGRAM = fileURLToPath(
  new URL('../../hosts/browser/make_installation.mjs', import.meta.url),
);

const GOOD = [
  'https://games.example',
  'https://games.example probe',
  'https://games.example:8443',
  'http://127.0.0.1:8410',
  'http://localhost',
];

const BAD = [
  ['https://games.example/', 'write https://games.example'],
  ['https://games.example/play', 'write https://games.example'],
  ['https://*.example', 'name each origin by itself'],
  ['games.example', 'write https://games.example'],
  ['http://games.example', 'write https://games.example'],
  ['http://localhost.evil.example', 'write https://localhost.evil.example'],
  ['ftp://games.example', 'write https://games.example'],
  ['https://Games.example', 'write https://games.example'],
  ['https://games.example:443', 'write https://games.example'],
  ['http://localhost:80', 'write http://localhost'],
  ['https://games.example launch', 'not "launch"'],
  ['https://games.example probe probe', 'not "probe probe"'],
  [' https://games.example', 'it holds blanks'],
  ['https://games.example\nhttps://evil.example', 'it holds blanks'],
  ['https://a:b', 'its host is none'],
  ['https://user@games.example', 'its host is none'],
  ['https://', 'its host is none'],
  ['', 'it has no scheme'],
];

test('origins that work', () => {
  for (const origin of GOOD) assert.equal(whatIsWrongWith(origin), null, origin);
});

for (const [origin, mend] of BAD) {
  test(`the origin ${JSON.stringify(origin)} is refused with its mend`, () => {
    assert.ok(whatIsWrongWith(origin)?.includes(mend), whatIsWrongWith(origin));
  });
}

function run(...args) {
  return spawnSync(process.execPath, [PROGRAM, ...args], {encoding: 'utf8'});
}

test('it prints help', () => {
  const {status, stdout} = run('--help');
  assert.equal(status, 0);
  assert.match(stdout, /--origin ORIGIN/);
});

test('it fails in one line, and writes nothing', () => {
  for (const args of [
    [],
    ['--unknown'],
    ['--out', '/nowhere/at/all', '--program', 'x', '--origin', 'https://games.example/'],
  ]) {
    const {status, stdout, stderr} = run(...args);
    assert.equal(status, 2);
    assert.equal(stdout, '');
    assert.match(stderr, /^make_installation: .*\n$/);
  }
});
