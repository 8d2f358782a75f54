// Stands between listed pages and the native program: one program for each page that connects.
//
// Who may connect is decided four times: by the browser (a page that no match pattern of the manifest
// fits finds no way to this extension), here by exact comparison, by the person at this computer, and
// by the program with its own list of origins.

import {
  isTooDeep,
  MOST_BYTES,
  MOST_CONNECTIONS,
  MOST_CONNECTIONS_OF_A_SITE,
  MOST_LEVELS,
  MOST_REFUSALS,
  MOST_REQUESTS,
  sizeOf,
} from './limits.js';
import {listedOrigins, readPages, setAllowed, setUsed} from './permissions.js';

const NATIVE_PROGRAM = 'launcher.browser_host';
const PROTOCOL_VERSION = 1;
// The program's first answer belongs to this id; pages count theirs from 1.
const HELLO_ID = 0;
const QUESTION_SIZE = {width: 460, height: 560};
// The browser ends a service worker that does nothing for 30 seconds, waiting included.
const STAY_AWAKE_MS = 20_000;
const MINUTE_MS = 60_000;
// Why the browser could not start the program, in its own words.
const START_FAILURES = [
  [/not found|failed to start/i, 'program_missing'],
  [/forbidden/i, 'program_forbidden'],
];

const connections = new Set();
const watchers = new Set(); // ports of the extension's own page
let questionWindow = null;

class Connection {
  origin;
  games = {}; // appId -> the state that was told last
  #page;
  #program = null;
  #underWay = new Map(); // id -> bytes
  #bytes = 0;
  #refusals = 0; // within a minute
  #minuteBegan = Date.now();

  constructor(page) {
    this.#page = page;
    this.origin = page.sender.origin;
    page.onMessage.addListener((message) => this.#forward(message));
    page.onDisconnect.addListener(() => this.#end());
  }

  get isWaiting() {
    return this.#program === null;
  }

  /** The page hears that a person is being asked. */
  tellWaiting() {
    const message = 'Waiting until this page is allowed to work with the games on this computer.';
    this.#tellPage({waiting: {code: 'permission', message}});
  }

  open() {
    this.#program = chrome.runtime.connectNative(NATIVE_PROGRAM);
    this.#program.onMessage.addListener((message) => this.#receive(message));
    this.#program.onDisconnect.addListener(() => {
      const message = chrome.runtime.lastError?.message ?? 'The native program has ended.';
      const failure = START_FAILURES.find(([pattern]) => pattern.test(message));
      this.close(failure?.[1] ?? 'program_ended', message);
    });
    this.#program.postMessage({
      id: HELLO_ID,
      method: 'hello',
      params: {origin: this.origin, protocol: PROTOCOL_VERSION},
    });
  }

  close(code, message) {
    this.#tellPage({closed: {code, message}});
    this.#page.disconnect();
    this.#end();
  }

  #end() {
    this.#program?.disconnect();
    connections.delete(this);
    showState();
  }

  #forward(message) {
    const id = message?.id;
    if (!Number.isSafeInteger(id) || id <= HELLO_ID || this.#underWay.has(id)) {
      this.#refuse(null, 'malformed', "'id' must be a whole number, above 0 and not under way");
      return;
    }
    if (this.isWaiting) {
      this.#refuse(id, 'busy', 'the connection is not open yet');
      return;
    }
    if (isTooDeep(message)) {
      this.#refuse(id, 'too_large', `a message may have ${MOST_LEVELS} levels`);
      return;
    }
    const size = sizeOf(message);
    if (size > MOST_BYTES) {
      this.#refuse(id, 'too_large', `a message may have ${MOST_BYTES} bytes`);
    } else if (this.#underWay.size >= MOST_REQUESTS || this.#bytes + size > MOST_BYTES) {
      this.#refuse(id, 'busy', 'this page has sent too much without waiting for answers');
    } else {
      this.#underWay.set(id, size);
      this.#bytes += size;
      try {
        this.#program.postMessage(message);
      } catch (error) {
        this.#settle(id);
        this.#refuse(id, 'malformed', error.message);
      }
    }
  }

  #refuse(id, code, message) {
    this.#tellPage({id, error: {code, message}});
    if (Date.now() - this.#minuteBegan > MINUTE_MS) {
      this.#minuteBegan = Date.now();
      this.#refusals = 0;
    }
    if (++this.#refusals > MOST_REFUSALS) {
      this.close('refused', 'The page has sent too much and was cut off.');
    }
  }

  #settle(id) {
    this.#bytes -= this.#underWay.get(id) ?? 0;
    this.#underWay.delete(id);
  }

  #receive(message) {
    if (message.event?.name === 'StateChanged') {
      this.games[message.event.source] = message.event.arguments[0];
      showState();
    }
    this.#settle(message.id);
    this.#tellPage(message);
  }

  #tellPage(message) {
    try {
      this.#page.postMessage(message);
    } catch {
      // The page has gone; its disconnect follows.
    }
  }
}

function ofOrigin(origin) {
  return [...connections].filter((connection) => connection.origin === origin);
}

function whyNot({sender}) {
  // A listed page inside of a foreign one could be made to be clicked unseen. `sender` is the
  // browser's word, not the page's.
  if (sender.frameId !== 0 || !listedOrigins().includes(sender.origin)) {
    return {code: 'refused', message: 'This page may not use the extension.'};
  }
  if (
    connections.size >= MOST_CONNECTIONS ||
    ofOrigin(sender.origin).length >= MOST_CONNECTIONS_OF_A_SITE
  ) {
    const message = 'Too many pages work with the games on this computer. Close one of them.';
    return {code: 'too_many_pages', message};
  }
  return null;
}

chrome.runtime.onConnectExternal.addListener(async (page) => {
  const closed = whyNot(page);
  if (closed) {
    page.postMessage({closed});
    page.disconnect();
    return;
  }
  const connection = new Connection(page);
  connections.add(connection);
  decide(connection, await readPages());
});

function decide(connection, pages) {
  if (!connections.has(connection) || !connection.isWaiting) return;
  const allowed = pages[connection.origin]?.allowed;
  if (allowed === false) {
    connection.close('blocked', 'This page was not allowed to work with the games on this computer.');
  } else if (allowed) {
    connection.open();
    setUsed(connection.origin);
  } else {
    connection.tellWaiting();
    ask();
  }
  showState();
}

/** One window for all questions. The person answers by the switches of the extension's page. */
async function ask() {
  if (questionWindow !== null) return;
  questionWindow = 'opening';
  const url = chrome.runtime.getURL('pages.html');
  const {id} = await chrome.windows.create({url, type: 'popup', ...QUESTION_SIZE});
  questionWindow = id;
  const stayAwake = setInterval(() => chrome.runtime.getPlatformInfo(), STAY_AWAKE_MS);
  const onClosed = (closedId) => {
    if (closedId !== id) return;
    chrome.windows.onRemoved.removeListener(onClosed);
    clearInterval(stayAwake);
    questionWindow = null;
    for (const connection of connections) {
      if (connection.isWaiting) connection.close('blocked', 'The question was closed unanswered.');
    }
  };
  chrome.windows.onRemoved.addListener(onClosed);
}

async function answer(origin, allowed) {
  await setAllowed(origin, allowed);
  const pages = await readPages();
  for (const connection of ofOrigin(origin)) {
    if (connection.isWaiting) decide(connection, pages);
    else if (!allowed) connection.close('blocked', 'This page is no longer allowed.');
  }
  const isQuestionLeft = [...connections].some(({isWaiting}) => isWaiting);
  if (!isQuestionLeft && typeof questionWindow === 'number') chrome.windows.remove(questionWindow);
  showState();
}

function showState() {
  const waiting = [...connections].filter(({isWaiting}) => isWaiting).length;
  chrome.action.setBadgeText({text: waiting > 0 ? '?' : connections.size > 0 ? '●' : ''});
  const state = [...connections].map(({origin, isWaiting, games}) => ({origin, isWaiting, games}));
  for (const watcher of watchers) watcher.postMessage(state);
}

// The extension's own page: it hears what happens, and says what the person decided.
chrome.runtime.onConnect.addListener((port) => {
  if (!port.sender.url?.startsWith(chrome.runtime.getURL('pages.html'))) return;
  watchers.add(port);
  port.onDisconnect.addListener(() => watchers.delete(port));
  port.onMessage.addListener(({origin, allowed}) => answer(origin, allowed));
  showState();
});
