// The npm package for pages: what it holds, and that its types say what its module does.

import assert from 'node:assert/strict';
import {execFileSync, spawnSync} from 'node:child_process';
import {mkdirSync, mkdtempSync, rmSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {after, before, test} from 'node:test';
import {fileURLToPath} from 'node:url';

import * as launcherModule from '../../hosts/browser/npm/launcher.js';

const ROOT = fileURLToPath(new URL('../..', import.meta.url));
const PACKAGE = join(ROOT, 'hosts/browser/npm');
const TSC = join(ROOT, 'hosts/browser/stage/node_modules/typescript/bin/tsc');

const USER = `
import {connectLauncher, EXTENSION_ID, Launcher, LauncherError} from 'launcher-page';
const launcher: Launcher = await connectLauncher({timeout: 1, extensionId: EXTENSION_ID});
launcher.addEventListener('statechanged', ({detail}) => detail.state === 'READY');
const times: (number | null)[] = (await launcher.ping(['192.0.2.1'])).map((t) => t.milliseconds);
const isSuspicious: boolean = (await launcher.query({address: '', port: 1, gameId: 1n})).suspicious;
if (new LauncherError({code: 'busy', message: ''}).code === 'busy') launcher.close();
export {times, isSuspicious};
`;
const WRONG = [
  `import {connectLauncher} from 'launcher-page';\n(await connectLauncher()).launch(7);`,
  `import {connectLauncher} from 'launcher-page';\n(await connectLauncher()).fly();`,
  `import {LauncherError} from 'launcher-page';\nnew LauncherError({code: 'no_such', message: ''});`,
];

let work;

before(() => {
  mkdirSync(join(ROOT, 'build'), {recursive: true});
  work = mkdtempSync(join(ROOT, 'build/page-package-'));
  const made = execFileSync('npm', ['pack', '--silent', '--pack-destination', work, PACKAGE]);
  const folder = join(work, 'node_modules/launcher-page');
  mkdirSync(folder, {recursive: true});
  const archive = join(work, String(made).trim());
  execFileSync('tar', ['-xzf', archive, '-C', folder, '--strip-components=1']);
});

after(() => rmSync(work, {recursive: true, force: true}));

function compile(source) {
  writeFileSync(join(work, 'user.mts'), source);
  const options = ['--noEmit', '--strict', '--target', 'es2022', '--module', 'nodenext'];
  return spawnSync(process.execPath, [TSC, ...options, '--lib', 'es2022,dom', 'user.mts'], {
    cwd: work,
    encoding: 'utf8',
  });
}

test('it holds module, types, description and nothing else', () => {
  const [{files}] = JSON.parse(
    execFileSync('npm', ['pack', '--dry-run', '--json', PACKAGE], {stdio: ['ignore', 'pipe', 'ignore']}),
  );
  assert.deepEqual(files.map(({path}) => path).sort(), [
    'README.md', 'launcher.d.ts', 'launcher.js', 'package.json',
  ]);
});

test('a page in TypeScript compiles with it', () => {
  const {status, stdout} = compile(USER);
  assert.equal(status, 0, stdout);
});

for (const source of WRONG) {
  test(`a page in TypeScript does not compile with ${source.split('\n')[1]}`, () => {
    assert.notEqual(compile(source).status, 0);
  });
}

/** The browser's side of a connection: lets the page in, and gives each ping the result `event`. */
function browserWithResult(event) {
  let deliver;
  const answer = (id, result) => queueMicrotask(() => deliver({id, result}));
  return {
    connect: () => {
      answer(0, {protocol: 1, launcherVersion: '162', applications: [], pipes: {}, permissions: []});
      return {
        onMessage: {addListener: (listener) => (deliver = listener)},
        onDisconnect: {addListener: () => {}},
        disconnect: () => {},
        postMessage: ({id, params}) => {
          answer(id, true);
          const source = {source: '', name: 'PingBatchResult', arguments: [params.batchId]};
          queueMicrotask(() => deliver({event: {...source, ...event}}));
        },
      };
    },
  };
}

const RESULTS = [
  [{result: null, problem: 'no times', code: 'helper_missing'}, 'helper_missing', 'no times'],
  [{result: null, problem: 'not read'}, 'failed', 'not read'],
];

for (const [event, code, message] of RESULTS) {
  test(`a ping without a result is rejected with ${code}`, async () => {
    globalThis.chrome = {runtime: browserWithResult(event)};
    const launcher = await launcherModule.connectLauncher();
    await assert.rejects(launcher.ping(['127.0.0.1']), {name: 'LauncherError', code, message});
    launcher.close();
    delete globalThis.chrome;
  });
}

test('every operation that the types name exists', async () => {
  const {readFileSync} = await import('node:fs');
  const types = readFileSync(join(PACKAGE, 'launcher.d.ts'), 'utf8');
  const body = types.slice(types.indexOf('class Launcher extends'));
  const names = [...body.matchAll(/^ {2}(\w+)(?:<[^>]*>)?\(/gm)].map(([, name]) => name);
  const operations = Object.getOwnPropertyNames(launcherModule.Launcher.prototype);
  const inherited = ['addEventListener', 'removeEventListener'];
  assert.deepEqual(
    [...new Set(names)].filter((name) => !inherited.includes(name)).sort(),
    operations.filter((name) => name !== 'constructor').sort(),
  );
});
