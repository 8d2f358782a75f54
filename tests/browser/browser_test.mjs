// From a web page to a game and back: page, extension, native program, launcher.dll, helper, game
// and game server, all of them real but for the last three, which are the kit's.
//
//   node --test tests/browser/browser_test.mjs
//
// LAUNCHER_BUILD names the build folder (default: build/release).

import assert from 'node:assert/strict';
import {mkdirSync, mkdtempSync} from 'node:fs';
import {join} from 'node:path';
import {after, before, test} from 'node:test';

import {Browser} from '../../hosts/browser/stage/browser.mjs';
import {servePages} from '../../hosts/browser/stage/page_server.mjs';
import {PAGE_FOLDER, ROOT, Stage} from '../../hosts/browser/stage/stage.mjs';

const SOLANO = 'tr[data-app="SOLANO-GAME"]';

let stage;
let browser;
let listed; // a page that extension and program list
let unlisted; // one that neither lists
let halfListed; // one that the extension lists and the program does not
let gameServerPort;

before(async () => {
  mkdirSync(join(ROOT, 'build'), {recursive: true});
  const work = mkdtempSync(join(ROOT, 'build/browser-test-'));
  stage = new Stage({work, build: process.env.LAUNCHER_BUILD});
  stage.setUp();
  gameServerPort = await stage.startGameServer(
    '--mode', 'Breach', '--map', 'Old Harbour', '--name', 'Aldo <b>"the Rock"</b>',
  );
  listed = await servePages(PAGE_FOLDER);
  halfListed = await servePages(PAGE_FOLDER);
  unlisted = await servePages(PAGE_FOLDER, {
    extraPages: {'/frame.html': `<!doctype html><iframe src="${listed.origin}/"></iframe>`},
  });
  const {extension} = stage.install({
    origins: [listed.origin],
    extensionOrigins: [listed.origin, halfListed.origin],
  });
  browser = await Browser.start({profile: stage.profile, extension, headless: true});
});

after(async () => {
  await browser?.end();
  for (const server of [listed, halfListed, unlisted]) server?.close();
  await stage?.clear();
  stage?.remove();
});

/** What the page's own API says when it tries to connect: "connected" or an error's code. */
function tryToConnect() {
  return browser.run(async () => {
    const {connectLauncher} = await import('/launcher.js');
    try {
      (await connectLauncher()).close();
      return 'connected';
    } catch (error) {
      return error.code;
    }
  });
}

function rows(selector) {
  return browser.run(
    async (wanted) =>
      [...document.querySelectorAll(wanted)].map((row) =>
        [...row.cells].map((cell) => cell.textContent.trim()),
      ),
    selector,
  );
}

test('an unlisted page finds no way to the extension', async () => {
  await browser.open(`${unlisted.origin}/`);
  await browser.waitForText('#connection', /^Not connected/);
  assert.equal(await tryToConnect(), 'not_available');
  assert.equal(stage.programStarts(), 0);
});

test('a listed page inside of an unlisted one is refused', async () => {
  await browser.open(`${unlisted.origin}/frame.html`);
  await browser.enterFrame('iframe');
  await browser.waitForText('#connection', /^Not connected: This page may not/);
  assert.equal(await tryToConnect(), 'origin_not_allowed');
  assert.equal(stage.programStarts(), 0);
  await browser.leaveFrame();
});

test('the program refuses a page that only the extension lists', async () => {
  await browser.open(`${halfListed.origin}/`);
  await browser.waitForText('#connection', /^Not connected: the origin .* is not listed/);
  assert.equal(await tryToConnect(), 'origin_not_allowed');
});

test('a listed page sees the applications', async () => {
  await browser.open(`${listed.origin}/`);
  await browser.waitForText('#connection', /^Connected, launcher 162$/);
  const applications = await rows('#applications tbody tr');
  assert.equal(applications.length, 8);
  assert.deepEqual(applications[0].slice(0, 4), ['BRENNA-GAME', 'Not running', '1.8.2', '']);
  assert.deepEqual(applications[1].slice(0, 4), ['OSTREL-APP', 'Not running', '9.4.17', '']);
  assert.deepEqual(applications[2].slice(0, 4), [
    'SOLANO-GAME', 'Not running', '2.1.0', 'Xpack1, Xpack2',
  ]);
  assert.deepEqual(applications[3].slice(0, 4), ['BRENNA-CTE-GAME', 'Not installed', '', '']);
});

test('it launches a game and follows its state', async () => {
  await browser.type('#command-line', '-windowed "Old Harbour"');
  await browser.click(`${SOLANO} button`);
  await browser.waitForText('#events', /SOLANO-GAMEStarting…/);
  await browser.waitForText('#events', /SOLANO-GAMEReady/);
  await browser.waitForText('#events', /SOLANO-GAMEPlayerJoined Aldo squad 3/);
  await browser.waitForText(`${SOLANO} .pill`, /^Ready$/);
  assert.match(
    stage.gameLines()[0],
    /^game: started with the command line ".*\\solano\\ag3\.exe" -windowed "Old Harbour"$/,
  );
});

test('it exchanges commands with the game', async () => {
  const echo = await browser.run(async () => {
    const {connectLauncher} = await import('/launcher.js');
    const launcher = await connectLauncher();
    const when = (type) =>
      new Promise((resolve) => {
        const listen = ({detail}) => {
          if (detail.appId !== 'SOLANO-GAME') return;
          if (detail.state !== 'READY' && detail.name !== 'echo') return;
          launcher.removeEventListener(type, listen);
          resolve(detail);
        };
        launcher.addEventListener(type, listen);
      });
    await when('statechanged');
    const answer = when('command');
    await launcher.sendCommand('SOLANO-GAME', 'echo', 'how', 'are', 'you');
    const detail = await answer;
    launcher.close();
    return detail;
  });
  assert.deepEqual(echo, {
    appId: 'SOLANO-GAME', name: 'echo', arguments: ['how', 'are', 'you'],
  });
  assert.ok(stage.gameLines().includes('game: received echo [how are you]'));
});

test('it ends the game', async () => {
  await browser.click(`${SOLANO} button.quiet`);
  await browser.waitForText('#events', /SOLANO-GAMEEnded/);
  await browser.waitForText(`${SOLANO} .pill`, /^Ended$/);
});

test('it pings with progress and a bar chart', async () => {
  await browser.run(async () => {
    globalThis.progressSeen = [];
    const progress = document.querySelector('#ping-progress');
    new MutationObserver(() => globalThis.progressSeen.push(progress.value)).observe(progress, {
      attributes: true,
    });
  });
  await browser.type(
    '#addresses', '127.0.0.1 127.0.0.2 127.0.0.3 127.0.0.4 127.0.0.5 127.0.0.6',
  );
  await browser.click('#ping-form button');
  await browser.waitForText('#ping-message', /^6 of 6 answered\.$/);
  // The kit's helper has 1, 2, 3, 4 ms for the addresses of a batch of four.
  const times = await rows('#ping-chart tbody tr');
  assert.deepEqual(times.map((cells) => cells[2]), [
    '1 ms', '1 ms', '2 ms', '2 ms', '3 ms', '4 ms',
  ]);
  const widths = await browser.run(async () =>
    [...document.querySelectorAll('.bar')].map((bar) => bar.style.width),
  );
  assert.deepEqual(widths, ['25%', '25%', '50%', '50%', '75%', '100%']);
  const seen = await browser.run(async () => globalThis.progressSeen);
  assert.ok(seen.some((value) => value > 0 && value < 6), `progress: ${seen}`);
});

test('it says which address is none', async () => {
  await browser.type('#addresses', 'localhost');
  await browser.click('#ping-form button');
  await browser.waitForText('#ping-message', /'localhost' is no IPv4 address/);
});

test('it queries a game server and shows its scoreboard', async () => {
  await browser.type('#server-port', String(gameServerPort));
  await browser.click('#query-form button');
  await browser.waitForText('#server-facts', /MapOld Harbour/);
  assert.deepEqual(await rows('#teams table:first-child tbody tr'), [
    ['RED Aldo <b>"the Rock"</b>', '5', '4200', '21', '4'],
    ['RED Bryn', '12', '3850', '19', '5'],
    ['RED Cass', '19', '3500', '17', '6'],
  ]);
});

test('it says why a server does not answer', async () => {
  await browser.type('#server-port', '9'); // nobody listens there
  await browser.click('#query-form button');
  await browser.waitForText('#query-message', /ERROR_/);
});

test('a listed page may not name programs of its own', async () => {
  const code = await browser.run(async () => {
    const {connectLauncher} = await import('/launcher.js');
    const launcher = await connectLauncher();
    try {
      await launcher.setParameter('SOLANO-GAME', 'probeMethod', 'path');
      return 'done';
    } catch (error) {
      return error.code;
    } finally {
      launcher.close();
    }
  });
  assert.equal(code, 'not_permitted');
});

test('what is under way is rejected when the page closes the connection', async () => {
  const codes = await browser.run(async () => {
    const {connectLauncher} = await import('/launcher.js');
    const launcher = await connectLauncher();
    const promises = [launcher.getLauncherVersion(), launcher.ping(['127.0.0.1'])];
    launcher.close();
    promises.push(launcher.getLauncherVersion());
    const settled = await Promise.allSettled(promises);
    return settled.map(({reason}) => reason?.code);
  });
  assert.deepEqual(codes, ['closed', 'closed', 'closed']);
});
