// The extension's service worker with a browser of the test's own: who gets a program, and how much
// a page may send.

import assert from 'node:assert/strict';
import {beforeEach, test} from 'node:test';

const SITES = ['https://a.example', 'https://b.example', 'https://c.example'];
const [SITE] = SITES;
const MEBIBYTE = 1024 * 1024;

class Listeners {
  #listeners = [];
  addListener(listener) {
    this.#listeners.push(listener);
  }
  removeListener(listener) {
    this.#listeners = this.#listeners.filter((other) => other !== listener);
  }
  call(...args) {
    return Promise.all(this.#listeners.map((listener) => listener(...args)));
  }
}

/** One end of a connection, as the service worker has it. */
class Port {
  sent = [];
  isClosed = false;
  onMessage = new Listeners();
  onDisconnect = new Listeners();
  constructor(sender) {
    this.sender = sender;
  }
  postMessage(message) {
    this.sent.push(message);
  }
  disconnect() {
    this.isClosed = true;
  }
  /** The other side goes. */
  leave() {
    return this.onDisconnect.call();
  }
  get last() {
    return this.sent.at(-1);
  }
}

const PAGES_URL = 'chrome-extension://id/pages.html';
let pages; // what the storage holds
let programs; // that were started
let windows; // that ask
let open = [];

const {runtime} = (globalThis.chrome = {
  runtime: {
    onConnect: new Listeners(),
    onConnectExternal: new Listeners(),
    getManifest: () => ({externally_connectable: {matches: SITES.map((site) => `${site}/*`)}}),
    getURL: () => PAGES_URL,
    connectNative: () => {
      programs.push(new Port());
      return programs.at(-1);
    },
  },
  storage: {
    local: {
      get: async () => ({pages}),
      set: async (stored) => {
        pages = stored.pages;
      },
    },
  },
  windows: {
    onRemoved: new Listeners(),
    create: async () => ({id: windows.push('open')}),
    remove: async (id) => {
      windows[id - 1] = 'closed';
      await chrome.windows.onRemoved.call(id);
    },
  },
  action: {setBadgeText: () => {}},
});

// Left running by a question that stays open: it must not keep the test's process.
const {setInterval} = globalThis;
globalThis.setInterval = (...args) => setInterval(...args).unref();

await import('../../hosts/browser/extension/service_worker.js');

/** A page of `origin` connects. */
async function connect(origin = SITE, frameId = 0) {
  const page = new Port({origin, frameId});
  open.push(page);
  await runtime.onConnectExternal.call(page);
  return page;
}

/** A person says so, by the extension's page or what pretends to be it. */
async function answer(origin, allowed, url = PAGES_URL) {
  const port = new Port({url});
  await runtime.onConnect.call(port);
  await port.onMessage.call({origin, allowed});
  await port.leave();
}

function codeOf({closed, error, waiting}) {
  return (closed ?? error ?? waiting)?.code;
}

beforeEach(async () => {
  for (const page of open) await page.leave();
  open = [];
  pages = Object.fromEntries(SITES.map((site) => [site, {allowed: true}]));
  programs = [];
  windows = [];
});

test('an allowed page gets a program, which hears its origin from the browser', async () => {
  await connect();
  assert.deepEqual(programs[0].sent, [
    {id: 0, method: 'hello', params: {origin: SITE, protocol: 1}},
  ]);
});

for (const [origin, frameId, what] of [
  ['https://d.example', 0, 'a page that is not listed'],
  [`${SITE}:8443`, 0, 'a page with another port'],
  [SITE, 7, 'a page in a frame'],
]) {
  test(`${what} is refused`, async () => {
    const page = await connect(origin, frameId);
    assert.equal(codeOf(page.last), 'refused');
    assert.ok(page.isClosed);
    assert.equal(programs.length, 0);
  });
}

test('a page that was not allowed is turned away without a question', async () => {
  pages = {[SITE]: {allowed: false}};
  assert.equal(codeOf((await connect()).last), 'blocked');
  assert.deepEqual([programs.length, windows.length], [0, 0]);
});

test('pages that nobody has judged wait, with one question for all', async () => {
  pages = {};
  const waiting = [await connect(), await connect(), await connect(SITES[1])];
  assert.deepEqual(waiting.map(({last}) => codeOf(last)), Array(3).fill('permission'));
  assert.deepEqual([programs.length, windows], [0, ['open']]);
  await answer(SITE, true, 'chrome-extension://id/other.html');
  assert.equal(programs.length, 0);
  await answer(SITE, true);
  assert.equal(programs.length, 2);
  assert.deepEqual(windows, ['open']);
  await answer(SITES[1], false);
  assert.equal(codeOf(waiting[2].last), 'blocked');
  assert.deepEqual([programs.length, windows], [2, ['closed']]);
  assert.deepEqual([pages[SITE].allowed, pages[SITES[1]].allowed], [true, false]);
});

test('a question that is closed unanswered lets nobody in, and asks again next time', async () => {
  pages = {};
  const page = await connect();
  await chrome.windows.remove(1);
  assert.equal(codeOf(page.last), 'blocked');
  assert.equal(programs.length, 0);
  assert.equal(codeOf((await connect()).last), 'permission');
  await answer(SITE, false);
});

test('a page that is switched off loses its connection', async () => {
  const page = await connect();
  await answer(SITE, false);
  assert.equal(codeOf(page.last), 'blocked');
  assert.ok(page.isClosed && programs[0].isClosed);
});

test('a site has 4 connections, all have 8', async () => {
  for (let i = 0; i < 4; ++i) await connect();
  assert.equal(programs.length, 4);
  assert.equal(codeOf((await connect()).last), 'too_many_pages');
  for (let i = 0; i < 4; ++i) await connect(SITES[1]);
  assert.equal(programs.length, 8);
  assert.equal(codeOf((await connect(SITES[2])).last), 'too_many_pages');
  await open[0].leave();
  assert.ok(programs[0].isClosed);
  await connect(SITES[2]);
  assert.equal(programs.length, 9);
});

/** What a page that sends this is told; nothing when it was passed on. */
async function tell(page, message) {
  const before = page.sent.length;
  await page.onMessage.call(message);
  return page.sent.length > before ? codeOf(page.last) : undefined;
}

function nested(levels) {
  let value = 0;
  for (let i = 0; i < levels; ++i) value = [value];
  return value;
}

/** So many bytes, as the browser writes them. */
function ofSize(id, bytes, letter = 'x', bytesOfLetter = 1) {
  const left = bytes - JSON.stringify({id, value: ''}).length;
  const value = letter.repeat(left / bytesOfLetter);
  return {id, value: value + 'x'.repeat(left % bytesOfLetter)};
}

test('a page waits when 64 requests are under way', async () => {
  const page = await connect();
  for (let id = 1; id <= 64; ++id) assert.equal(await tell(page, {id}), undefined);
  assert.equal(await tell(page, {id: 65}), 'busy');
  await programs[0].onMessage.call({id: 7, result: 1});
  assert.deepEqual(page.last, {id: 7, result: 1});
  assert.equal(await tell(page, {id: 65}), undefined);
  assert.equal(programs[0].sent.length, 1 + 65);
});

test('a page waits when a mebibyte is under way', async () => {
  const page = await connect();
  assert.equal(await tell(page, ofSize(1, MEBIBYTE - 100)), undefined);
  assert.equal(await tell(page, ofSize(2, 101)), 'busy');
  assert.equal(await tell(page, ofSize(3, 100)), undefined);
  await programs[0].onMessage.call({id: 1, error: {}});
  assert.equal(await tell(page, ofSize(4, MEBIBYTE - 100)), undefined);
});

for (const [letter, bytes] of [['x', 1], ['é', 2], ['<', 6], ['"', 2]]) {
  test(`a message has a mebibyte, where ${letter} takes ${bytes}`, async () => {
    const page = await connect();
    assert.equal(await tell(page, ofSize(1, MEBIBYTE + 1, letter, bytes)), 'too_large');
    assert.equal(await tell(page, ofSize(1, MEBIBYTE, letter, bytes)), undefined);
  });
}

test('a message has 32 levels', async () => {
  const page = await connect();
  assert.equal(await tell(page, {id: 1, value: nested(31)}), undefined);
  assert.equal(await tell(page, {id: 2, value: nested(32)}), 'too_large');
  assert.equal(await tell(page, {id: 2, value: nested(100_000)}), 'too_large');
});

test('a request has a number of its own', async () => {
  const page = await connect();
  assert.equal(await tell(page, {id: 1}), undefined);
  for (const id of [0, -1, 1.5, '2', null, undefined, 1]) {
    assert.equal(await tell(page, {id}), 'malformed');
    assert.equal(page.last.id, null);
  }
  assert.equal(await tell(page, null), 'malformed');
  assert.equal(programs[0].sent.length, 2);
});

test('a page that goes on after 256 refusals is cut off', async () => {
  const page = await connect();
  for (let i = 0; i < 256; ++i) assert.equal(await tell(page, {id: 0}), 'malformed');
  assert.ok(!page.isClosed);
  assert.equal(await tell(page, {id: 0}), 'refused');
  assert.ok(page.isClosed && programs[0].isClosed);
});

for (const [message, code] of [
  ['Specified native messaging host not found.', 'program_missing'],
  ['Access to the specified native messaging host is forbidden.', 'program_forbidden'],
  ['Native host has exited.', 'program_ended'],
]) {
  test(`a page hears ${code} when the browser says "${message}"`, async () => {
    const page = await connect();
    runtime.lastError = {message};
    await programs[0].leave();
    delete runtime.lastError;
    assert.deepEqual(page.last, {closed: {code, message}});
  });
}
