// The launcher for web pages: promises for what the page asks, events for what happens.
//
//   import {connectLauncher} from 'launcher-page';
//   const launcher = await connectLauncher();
//   launcher.addEventListener('statechanged', ({detail}) => console.log(detail.appId, detail.state));
//   if (await launcher.isInstalled('BRENNA-GAME')) await launcher.launch('BRENNA-GAME', '-windowed');
//   const times = await launcher.ping(['192.0.2.1'], {onProgress: ({done, total}) => {}});
//   const server = await launcher.query({address: '192.0.2.1', port: 25200, gameId: '1'});

export const EXTENSION_ID = 'lbihcldlamlgmkabnfnbcjkicdbedemf';

const PROTOCOL_VERSION = 1;
const HELLO_ID = 0;
const MOST_LEVELS = 32;
const DEFAULT_TIMEOUT_MS = 60_000;

/** Why a promise was rejected: `code` for the program, `message` for people. */
export class LauncherError extends Error {
  constructor({code, message}) {
    super(message);
    this.name = 'LauncherError';
    this.code = code;
  }
}

const NOT_INSTALLED = {
  code: 'not_installed',
  message: 'The extension is not installed, or this page is not on its list.',
};

/**
 * Connects to the native program. The first time, a person has to allow this page: until then
 * `onWaiting` has been called with a text to show, and the promise is not settled. A page that is
 * prerendered connects when it is shown.
 *
 * `timeout`, in milliseconds, is how long anything that is asked may take before its promise is
 * rejected with the code "timed_out".
 */
export async function connectLauncher({
  extensionId = EXTENSION_ID,
  timeout = DEFAULT_TIMEOUT_MS,
  onWaiting = () => {},
} = {}) {
  const launcher = new Launcher({extensionId, timeout, onWaiting});
  await launcher.opened;
  return launcher;
}

/** Without recursion: a value may be nested as deep as it likes, or hold itself. */
function isTooDeep(message) {
  const open = [[message, 1]];
  while (open.length > 0) {
    const [value, level] = open.pop();
    if (typeof value !== 'object' || value === null) continue;
    if (level > MOST_LEVELS) return true;
    for (const member of Object.values(value)) open.push([member, level + 1]);
  }
  return false;
}

function whenShown() {
  if (!globalThis.document?.prerendering) return Promise.resolve();
  return new Promise((resolve) =>
    document.addEventListener('prerenderingchange', resolve, {once: true}),
  );
}

/**
 * Events, all CustomEvents:
 *   "statechanged"  detail {appId, state}: "PENDING", "READY" or "GAMEISGONE"
 *   "command"       detail {appId, name, arguments}: a running game sent a command
 *   "closed"        detail {code, message}: the connection has ended
 *   "reopened"      detail null: the page has come back out of the browser's cache and is connected
 *                   again; what was under way when it left was rejected
 */
export class Launcher extends EventTarget {
  #options;
  #port = null;
  #nextId = HELLO_ID + 1;
  #nextResult = 1;
  #waiting = new Map(); // id of a request -> {resolve, reject, timer}
  #results = new Map(); // id of a batch or query -> the same
  #closed = null;

  constructor(options) {
    super();
    this.#options = options;
    this.opened = whenShown().then(() => this.#open());
    this.opened.catch(() => {}); // it may be awaited later
    // A page that the browser puts into its cache loses its connection without a word.
    globalThis.addEventListener?.('pagehide', ({persisted}) => {
      if (persisted && !this.#closed) this.#leave();
    });
    globalThis.addEventListener?.('pageshow', ({persisted}) => {
      if (persisted && this.#closed?.code === 'page_hidden') this.#comeBack();
    });
  }

  #open() {
    const runtime = globalThis.chrome?.runtime;
    if (!runtime?.connect) {
      this.#close(NOT_INSTALLED);
      return Promise.reject(new LauncherError(NOT_INSTALLED));
    }
    const port = runtime.connect(this.#options.extensionId);
    this.#port = port;
    this.#closed = null;
    let isKnown = false; // whether anybody has answered
    port.onMessage.addListener((message) => {
      isKnown = true;
      if (port === this.#port) this.#receive(message);
    });
    port.onDisconnect.addListener(() => {
      const message = runtime.lastError?.message ?? 'The connection has ended.';
      if (port === this.#port) this.#close(isKnown ? {code: 'closed', message} : NOT_INSTALLED);
    });
    return this.#await(this.#waiting, HELLO_ID).then((hello) => {
      if (hello.protocol !== PROTOCOL_VERSION) {
        throw new LauncherError({code: 'failed', message: 'Another protocol is spoken.'});
      }
      this.launcherVersion = hello.launcherVersion;
      this.applications = hello.applications;
      this.pipes = hello.pipes;
      this.permissions = hello.permissions;
    });
  }

  #leave() {
    this.#port?.disconnect();
    this.#close({code: 'page_hidden', message: 'The page was left.'});
  }

  #comeBack() {
    this.opened = this.#open();
    this.opened.then(
      () => this.#tell('reopened', null),
      (error) => this.#close({code: error.code, message: error.message}),
    );
  }

  // The launcher's operations, one for one.

  isInstalled(appId) {
    return this.call('isInstalled', {appId});
  }
  getVersion(appId) {
    return this.call('getVersion', {appId});
  }
  getParameter(appId, key) {
    return this.call('getParameter', {appId, key});
  }
  setParameter(appId, key, value) {
    return this.call('setParameter', {appId, key, value});
  }
  getExtraArguments(appId) {
    return this.call('getExtraArguments', {appId});
  }
  getLauncherVersion() {
    return this.call('getLauncherVersion');
  }
  launch(appId, commandLine = '', flag = false) {
    return this.call('launch', {appId, commandLine, flag});
  }
  kill(appId) {
    return this.call('kill', {appId});
  }
  isRunning(appId) {
    return this.call('isRunning', {appId});
  }
  sendCommand(appId, command, ...words) {
    return this.call('sendCommand', {appId, command, arguments: words});
  }
  postEvent(source, name, ...words) {
    return this.call('postEvent', {source, name, arguments: words});
  }
  pollApps() {
    return this.call('pollApps');
  }
  waitForThreads() {
    return this.call('waitForThreads');
  }
  echo(value) {
    return this.call('echo', {value}).then((answer) => answer.value);
  }

  /**
   * Times for addresses, in their order: [{address, milliseconds}], with null for one that did not
   * answer. Asked in small batches, two at a time, so that `onProgress` has something to tell.
   * Rejects with the code "helper_missing" when no times can be had on this computer.
   */
  async ping(addresses, {batchSize = 4, onProgress = () => {}} = {}) {
    const batches = [];
    for (let i = 0; i < addresses.length; i += batchSize) {
      batches.push(addresses.slice(i, i + batchSize));
    }
    const times = new Array(batches.length);
    let next = 0;
    let done = 0;
    const worker = async () => {
      while (next < batches.length) {
        const index = next++;
        times[index] = await this.#pingBatch(batches[index]);
        done += batches[index].length;
        onProgress({done, total: addresses.length, times: times.flat()});
      }
    };
    await Promise.all([worker(), worker()]);
    return times.flat();
  }

  /** The state of a game server. Rejects with the code "query_failed" unless it was understood. */
  async query({address, port, gameId}) {
    const requestId = `query-${this.#nextResult++}`;
    const params = {requestId, text: '', address, port, gameId: String(gameId)};
    const state = await this.#callForResult(requestId, 'queryServer', params);
    if (state.status !== 'SUCCESS') {
      throw new LauncherError({code: 'query_failed', message: state.status || 'no socket'});
    }
    return state;
  }

  /** Any request, by its name in docs/browser-host.md. Always settles. */
  async call(method, params = {}) {
    await this.opened;
    if (this.#closed) throw new LauncherError(this.#closed);
    const message = {id: this.#nextId++, method, params};
    if (isTooDeep(message)) {
      const text = `A message may have ${MOST_LEVELS} levels.`;
      throw new LauncherError({code: 'too_large', message: text});
    }
    const answer = this.#await(this.#waiting, message.id);
    try {
      this.#port.postMessage(message);
    } catch (error) {
      // The browser cannot write it as JSON: a number of any size, a circle.
      this.#settle(this.#waiting, message.id)?.reject(
        new LauncherError({code: 'invalid_params', message: error.message}),
      );
    }
    return answer;
  }

  close() {
    this.#port?.disconnect();
    this.#close({code: 'closed', message: 'The page has closed the connection.'});
  }

  #pingBatch(addresses) {
    const batchId = `batch-${this.#nextResult++}`;
    return this.#callForResult(batchId, 'pingBatch', {batchId, addresses});
  }

  async #callForResult(resultId, method, params) {
    const result = this.#await(this.#results, resultId);
    result.catch(() => {}); // also when the call below is rejected first
    try {
      await this.call(method, params);
    } catch (error) {
      this.#settle(this.#results, resultId);
      throw error;
    }
    return result;
  }

  /** A promise that is settled by an answer, by the end of the connection, or by time. */
  #await(promises, id) {
    return new Promise((resolve, reject) => {
      promises.set(id, {resolve, reject});
      this.#startTimer(promises, id);
    });
  }

  #startTimer(promises, id) {
    const promise = promises.get(id);
    const message = `There was no answer for ${this.#options.timeout / 1000} seconds.`;
    promise.timer = setTimeout(() => {
      promises.delete(id);
      promise.reject(new LauncherError({code: 'timed_out', message}));
    }, this.#options.timeout);
  }

  #settle(promises, id) {
    const promise = promises.get(id);
    clearTimeout(promise?.timer);
    promises.delete(id);
    return promise;
  }

  #receive(message) {
    if (message.event) {
      this.#receiveEvent(message.event);
    } else if (message.closed) {
      this.#close(message.closed);
    } else if (message.waiting) {
      // People take their time.
      clearTimeout(this.#waiting.get(HELLO_ID)?.timer);
      this.#options.onWaiting(message.waiting.message);
    } else {
      const promise = this.#settle(this.#waiting, message.id);
      if (message.error) promise?.reject(new LauncherError(message.error));
      else promise?.resolve(message.result);
    }
  }

  #receiveEvent(event) {
    if ('result' in event) {
      // A batch is named by its first argument, a query by its source.
      const promise = this.#settle(this.#results, event.source || event.arguments[0]);
      const {code = 'failed', problem: message} = event;
      if (message) promise?.reject(new LauncherError({code, message}));
      else promise?.resolve(event.result);
    } else if (event.name === 'StateChanged') {
      this.#tell('statechanged', {appId: event.source, state: event.arguments[0]});
    } else {
      this.#tell('command', {appId: event.source, name: event.name, arguments: event.arguments});
    }
  }

  #close(reason) {
    if (this.#closed) return;
    this.#closed = reason;
    for (const promises of [this.#waiting, this.#results]) {
      for (const id of [...promises.keys()]) {
        this.#settle(promises, id).reject(new LauncherError(reason));
      }
    }
    this.#tell('closed', reason);
  }

  #tell(type, detail) {
    this.dispatchEvent(new CustomEvent(type, {detail}));
  }
}
