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
import {ROOT, Stage} from '../../hosts/browser/stage/stage.mjs';

const SOLANO = 'tr[data-app="SOLANO-GAME"]';

const PRERENDERED_PAGE = `<!doctype html><p id="state"></p><script type="module">
  import {connectLauncher} from '/launcher.js';
  const connecting = connectLauncher();
  localStorage.setItem('asked', document.prerendering);
  const launcher = await connecting;
  document.querySelector('#state').textContent = 'connected';
  launcher.close();
</script>`;

let stage;
let browser;
let installation;
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
  listed = await servePages({
    extraPages: {
      '/beside.html': '<!doctype html><a href="/prerendered.html">to the other page</a>',
      '/prerendered.html': PRERENDERED_PAGE,
    },
  });
  halfListed = await servePages();
  unlisted = await servePages({
    extraPages: {'/frame.html': `<!doctype html><iframe src="${listed.origin}/"></iframe>`},
  });
  installation = stage.install({
    origins: [listed.origin],
    extensionOrigins: [listed.origin, halfListed.origin],
  });
  const {extension} = installation;
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
  await browser.waitForText('#problem', /^The extension is not installed/);
  assert.equal(await tryToConnect(), 'not_installed');
  assert.equal(stage.programStarts(), 0);
});

test('a listed page inside of an unlisted one is refused', async () => {
  await browser.open(`${unlisted.origin}/frame.html`);
  await browser.enterFrame('iframe');
  await browser.waitForText('#problem', /^This page is not on the list/);
  assert.equal(await tryToConnect(), 'refused');
  assert.equal(stage.programStarts(), 0);
  await browser.leaveFrame();
});

test('the program refuses a page that only the extension lists', async () => {
  await browser.allow(installation, halfListed.origin);
  await browser.open(`${halfListed.origin}/`);
  await browser.waitForText('#problem', /^This page is not on the list/);
  assert.equal(await tryToConnect(), 'refused');
});

const pagesOfExtension = () => `chrome-extension://${installation.id}/pages.html`;

test('the first connection of a page waits for the person', async () => {
  const starts = stage.programStarts();
  await browser.open(`${listed.origin}/`);
  await browser.waitForText('#connection', /^Waiting for you$/);
  assert.equal(stage.programStarts(), starts);
  // The driver does not see the window that asks; the extension's page shows the same.
  await browser.inNewTab(pagesOfExtension(), async () => {
    await browser.waitForText('#questions', new RegExp(listed.origin));
    await browser.click('#questions button:not(.main)');
  });
  await browser.waitForText('#problem', /^You have not allowed this page/);
  assert.equal(stage.programStarts(), starts);
});

test('a page that was not allowed is not asked for again, until it is switched on', async () => {
  assert.equal(await tryToConnect(), 'blocked');
  await browser.allow(installation, listed.origin);
  assert.equal(await tryToConnect(), 'connected');
});

test('a connected page that is switched off is cut off', async () => {
  await browser.open(`${listed.origin}/`);
  await browser.waitForText('#connection', /^Connected/);
  await browser.allow(installation, listed.origin, false);
  await browser.waitForText('#problem', /^You have not allowed this page/);
  await browser.allow(installation, listed.origin);
});

test('a listed page sees the applications', async () => {
  await browser.open(`${listed.origin}/`);
  await browser.waitForText('#connection', /^Connected, launcher 162$/);
  const applications = await rows('#applications tbody tr');
  assert.equal(applications.length, 8);
  assert.deepEqual(applications[0].slice(0, 4), ['BRENNA-GAMEshares its pipe with BRENNA-CTE-GAME', 'Not running', '1.8.2', '']);
  assert.deepEqual(applications[1].slice(0, 4), ['OSTREL-APP', 'Installed', '9.4.17', '']);
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
  await browser.waitForText(`${SOLANO} .actions`, /^End$/);
  await browser.inNewTab(pagesOfExtension(), () =>
    browser.waitForText('#now', /SOLANO-GAME running/),
  );
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

test('an edition that shares its pipe is shown as what it is', async () => {
  const brenna = 'tr[data-app="BRENNA-GAME"]';
  await browser.click(`${brenna} button`);
  await browser.waitForText(`${brenna} .pill`, /^Ready$/);
  await browser.waitForText('tr[data-app="BRENNA-CTE-GAME"] .pill', /^Not installed$/);
  await browser.waitForText('#events', /BRENNA-GAMEReady/);
  await browser.click(`${brenna} button.quiet`);
  await browser.waitForText(`${brenna} .pill`, /^Ended$/);
});

test('it queries a game server and shows its scoreboard', async () => {
  await browser.type('#server-port', String(gameServerPort));
  await browser.click('#query-form button');
  await browser.waitForText('#server-facts', /MapOld Harbour/);
  await browser.waitForText('#server-facts', /Attackers \(team 1\)75 of 100 tickets/);
  await browser.waitForText('#teams table:first-child caption', /^Team 1, /);
  assert.deepEqual(await rows('#teams table:first-child tbody tr'), [
    ['RED Aldo <b>"the Rock"</b>', '5', '4200', '21', '4'],
    ['RED Bryn', '12', '3850', '19', '5'],
    ['RED Cass', '19', '3500', '17', '6'],
  ]);
});

test('it says why a server does not answer', async () => {
  await browser.type('#server-port', '9'); // nobody listens there
  await browser.click('#query-form button');
  await browser.waitForText('#query-message.error', /Check .* \(ERROR_/);
});

/** Keeps an open launcher of the page's own in `globalThis.launcher` while `work` runs. */
async function withLauncher(work) {
  await browser.run(async () => {
    const {connectLauncher} = await import('/launcher.js');
    globalThis.launcher = await connectLauncher({timeout: 20_000});
  });
  try {
    return await browser.run(work);
  } finally {
    await browser.run(async () => globalThis.launcher.close());
  }
}

test('every promise settles, whatever a page sends', async () => {
  const codes = await withLauncher(async () => {
    const nested = (levels) => {
      let value = 0;
      for (let i = 0; i < levels; ++i) value = [value];
      return value;
    };
    const circle = {};
    circle.self = circle;
    const members = Object.fromEntries(Array.from({length: 80_000}, (_, i) => [`a${i}`, i]));
    const values = [nested(20), nested(3000), nested(12_000), circle, 10n, members, '<'.repeat(300_000)];
    const settled = await Promise.allSettled(values.map((value) => launcher.echo(value)));
    return settled.map(({status, reason}) => reason?.code ?? status);
  });
  assert.deepEqual(codes, [
    'fulfilled', 'too_large', 'too_large', 'too_large', 'invalid_params', 'too_large', 'too_large',
  ]);
});

test('a page that does not wait for answers is told so, and others go on', async () => {
  const codes = await withLauncher(async () => {
    const text = 'x'.repeat(100_000);
    const settled = await Promise.allSettled(
      Array.from({length: 100}, () => launcher.echo(text)),
    );
    return settled.map(({reason}) => reason?.code ?? 'fulfilled');
  });
  assert.deepEqual([...new Set(codes)].sort(), ['busy', 'fulfilled']);
  assert.equal(await tryToConnect(), 'connected');
});

test('a page that floods the extension is cut off, and others go on', async () => {
  const code = await withLauncher(async () => {
    const closed = new Promise((resolve) =>
      launcher.addEventListener('closed', ({detail}) => resolve(detail.code)),
    );
    const text = 'x'.repeat(900_000);
    for (let i = 0; i < 400; ++i) launcher.echo(text).catch(() => {});
    return closed;
  });
  assert.equal(code, 'refused');
  assert.equal(await tryToConnect(), 'connected');
});

test('a site has so many connections', async () => {
  const codes = await browser.run(async () => {
    const {connectLauncher} = await import('/launcher.js');
    const settled = [];
    const open = [];
    for (let i = 0; i < 6; ++i) {
      try {
        open.push(await connectLauncher());
        settled.push('connected');
      } catch (error) {
        settled.push(error.code);
      }
    }
    for (const launcher of open) launcher.close();
    return settled;
  });
  // The sample page itself has one.
  assert.deepEqual(codes, [
    'connected', 'connected', 'connected', 'too_many_pages', 'too_many_pages', 'too_many_pages',
  ]);
});

test('a page that comes back out of the cache is connected again', async () => {
  await browser.open(`${listed.origin}/`);
  await browser.waitForText('#connection', /^Connected/);
  await browser.run(async () => {
    globalThis.isTheSamePage = true;
  });
  await browser.open(`${unlisted.origin}/`);
  await browser.back();
  await browser.waitForText('#connection', /^Connected/);
  assert.equal(await browser.run(async () => globalThis.isTheSamePage), true);
  await browser.click('#refresh');
  await browser.waitForText(`${SOLANO} .pill`, /^(Not running|Ended)$/);
});

test('a prerendered page connects when it is shown', async () => {
  await browser.open(`${listed.origin}/beside.html`);
  const starts = stage.programStarts();
  // The page that is being prerendered says so by a change of the storage that both share.
  const seen = await browser.run(
    (rules) =>
      new Promise((resolve) => {
        localStorage.clear();
        globalThis.addEventListener('storage', ({key, newValue}) => resolve([key, newValue]));
        const script = document.createElement('script');
        script.type = 'speculationrules';
        script.textContent = rules;
        document.body.append(script);
      }),
    JSON.stringify({prerender: [{source: 'list', urls: ['/prerendered.html']}]}),
  );
  assert.deepEqual(seen, ['asked', 'true']);
  assert.equal(stage.programStarts(), starts);
  await browser.click('a');
  await browser.waitForText('#state', /^connected$/);
  const [navigation] = await browser.run(async () =>
    performance.getEntriesByType('navigation').map(({activationStart}) => activationStart),
  );
  assert.ok(navigation > 0, 'the page was not prerendered');
  assert.equal(stage.programStarts(), starts + 1);
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
