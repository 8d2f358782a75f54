// node hosts/browser/stage/demo.mjs [--screenshot FILE]
//
// Shows the browser host with the kit's game, helper and server. With a display, a browser opens
// for you to play with, until you close it. Without one, or with --screenshot, the page is worked
// by itself and a picture of it is taken.

import {mkdirSync, writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import {parseArgs} from 'node:util';

import {Browser} from './browser.mjs';
import {servePages} from './page_server.mjs';
import {ROOT, Stage} from './stage.mjs';

const PAGE_PORT = 8410; // the one that origins.txt lists
const GAME = 'tr[data-app="SOLANO-GAME"]';

const started = performance.now();
function tell(text) {
  console.log(`${((performance.now() - started) / 1000).toFixed(1).padStart(6)} s  ${text}`);
}

async function playByItself(browser, screenshot) {
  await browser.waitForText('#connection', /^Connected/);
  tell('the page is connected');
  await browser.type('#command-line', '-windowed');
  await browser.click(`${GAME} button`);
  await browser.waitForText('#events', /SOLANO-GAMEStarting…/);
  tell('first live state change: the game is starting');
  await browser.waitForText('#events', /SOLANO-GAMEReady/);
  tell('the game is ready');
  await browser.waitForText('#events', /PlayerJoined Aldo/);
  await browser.type(
    '#addresses', '127.0.0.1\n127.0.0.2\n127.0.0.3\n127.0.0.4\n127.0.0.5\n127.0.0.6',
  );
  await browser.click('#ping-form button');
  await browser.waitForText('#ping-message', /answered\.$/);
  tell('six addresses were pinged');
  await browser.click('#query-form button');
  await browser.waitForText('#server-facts', /Old Harbour/);
  tell('the game server was asked');
  mkdirSync(dirname(screenshot), {recursive: true});
  const takePicture = async (path, look) => {
    await browser.fitWindowToPage(look);
    writeFileSync(path, await browser.screenshot());
    tell(`picture: ${path}`);
  };
  await takePicture(screenshot.replace(/\.png$/, '-dark.png'), {scheme: 'dark'});
  await takePicture(screenshot.replace(/\.png$/, '-narrow.png'), {width: 360});
  await takePicture(screenshot, {});
  await browser.click(`${GAME} button.quiet`);
  await browser.waitForText('#events', /SOLANO-GAMEEnded/);
  tell('the game was ended');
}

async function main() {
  const {values} = parseArgs({options: {screenshot: {type: 'string'}}});
  const hasDisplay = Boolean(process.env.DISPLAY || process.env.WAYLAND_DISPLAY);
  const byItself = values.screenshot || !hasDisplay;
  const work = join(ROOT, 'build/browser-demo');
  const stage = new Stage({work});
  stage.setUp();
  let page;
  let browser;
  try {
    const port = await stage.startGameServer(
      '--mode', 'Frontier', '--map', 'Old Harbour', '--players', '6', '--name', 'Aldo "the Rock"',
    );
    page = await servePages({port: PAGE_PORT});
    const installation = stage.install({origins: [page.origin]});
    const {extension} = installation;
    browser = await Browser.start({profile: stage.profile, extension, headless: byItself});
    tell(`the browser shows ${page.origin}, the game server listens on port ${port}`);
    // At the first visit a person is asked; by itself the page is allowed before.
    if (byItself) await browser.allow(installation, page.origin);
    await browser.open(`${page.origin}/`);
    await browser.type('#server-port', String(port));
    if (byItself) {
      await playByItself(browser, values.screenshot ?? join(work, 'page.png'));
    } else {
      console.log('Close the browser to end the demonstration.');
      await browser.closed();
    }
  } finally {
    await browser?.end();
    page?.close();
    await stage.clear();
  }
}

await main();
