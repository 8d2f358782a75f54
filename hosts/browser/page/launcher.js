// The launcher for web pages: promises for what the page asks, events for what happens.
//
//   import {connectLauncher} from './launcher.js';
//   const launcher = await connectLauncher();
//   launcher.addEventListener('statechanged', ({detail}) => console.log(detail.appId, detail.state));
//   if (await launcher.isInstalled('BRENNA-GAME')) await launcher.launch('BRENNA-GAME', '-windowed');
//   const times = await launcher.ping(['192.0.2.1'], {onProgress: ({done, total}) => {}});
//   const server = await launcher.query({address: '192.0.2.1', port: 25200, gameId: '1'});

export const EXTENSION_ID = 'lbihcldlamlgmkabnfnbcjkicdbedemf';

const PROTOCOL_VERSION = 1;
const HELLO_ID = 0;

/** Why a promise was rejected: `code` for the program, `message` for people. */
export class LauncherError extends Error {
  constructor({code, message}) {
    super(message);
    this.name = 'LauncherError';
    this.code = code;
  }
}

/**
 * Connects to the native program. Rejects with the code "not_available" where the extension is not
 * installed or this page is not listed: the browser does not tell the two apart.
 */
export async function connectLauncher({extensionId = EXTENSION_ID} = {}) {
  const runtime = globalThis.chrome?.runtime;
  if (!runtime?.connect) {
    throw new LauncherError({
      code: 'not_available',
      message: 'The extension is not installed, or this page is not on its list.',
    });
  }
  const launcher = new Launcher(runtime.connect(extensionId));
  await launcher.opened;
  return launcher;
}

/**
 * Events, all CustomEvents:
 *   "statechanged"  detail {appId, state}: "PENDING", "READY" or "GAMEISGONE"
 *   "command"       detail {appId, name, arguments}: a running game sent a command
 *   "closed"        detail {code, message}: the connection has ended
 */
export class Launcher extends EventTarget {
  #port;
  #nextId = HELLO_ID + 1;
  #waiting = new Map(); // id of a request -> {resolve, reject}
  #results = new Map(); // id of a batch or query -> {resolve, reject}
  #closed = null;

  constructor(port) {
    super();
    this.#port = port;
    port.onMessage.addListener((message) => this.#receive(message));
    port.onDisconnect.addListener(() => {
      this.#close({
        code: 'not_available',
        message: globalThis.chrome?.runtime?.lastError?.message ?? 'The connection has ended.',
      });
    });
    this.opened = this.#await(HELLO_ID).then((hello) => {
      if (hello.protocol !== PROTOCOL_VERSION) {
        throw new LauncherError({code: 'failed', message: 'Another protocol is spoken.'});
      }
      this.launcherVersion = hello.launcherVersion;
      this.applications = hello.applications;
      this.permissions = hello.permissions;
    });
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
    const requestId = `query-${this.#nextId}`;
    const params = {requestId, text: '', address, port, gameId: String(gameId)};
    const state = await this.#callForResult(requestId, 'queryServer', params);
    if (state.status !== 'SUCCESS') {
      throw new LauncherError({code: 'query_failed', message: state.status || 'no socket'});
    }
    return state;
  }

  /** Any request, by its name in docs/browser-host.md. */
  call(method, params = {}) {
    if (this.#closed) return Promise.reject(new LauncherError(this.#closed));
    const id = this.#nextId++;
    const answer = this.#await(id);
    this.#port.postMessage({id, method, params});
    return answer;
  }

  close() {
    this.#port.disconnect();
    this.#close({code: 'closed', message: 'The page has closed the connection.'});
  }

  #pingBatch(addresses) {
    const batchId = `batch-${this.#nextId}`;
    return this.#callForResult(batchId, 'pingBatch', {batchId, addresses});
  }

  async #callForResult(resultId, method, params) {
    const result = new Promise((resolve, reject) => this.#results.set(resultId, {resolve, reject}));
    result.catch(() => {}); // also when the call below is rejected first
    try {
      await this.call(method, params);
    } catch (error) {
      this.#results.delete(resultId);
      throw error;
    }
    return result;
  }

  #await(id) {
    return new Promise((resolve, reject) => this.#waiting.set(id, {resolve, reject}));
  }

  #receive(message) {
    if (message.event) {
      this.#receiveEvent(message.event);
    } else if (message.closed) {
      this.#close(message.closed);
    } else {
      const promise = this.#waiting.get(message.id);
      this.#waiting.delete(message.id);
      if (message.error) promise?.reject(new LauncherError(message.error));
      else promise?.resolve(message.result);
    }
  }

  #receiveEvent(event) {
    if ('result' in event) {
      // A batch is named by its first argument, a query by its source.
      const resultId = event.source || event.arguments[0];
      const promise = this.#results.get(resultId);
      this.#results.delete(resultId);
      if (event.problem) promise?.reject(new LauncherError({code: 'failed', message: event.problem}));
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
      for (const {reject} of promises.values()) reject(new LauncherError(reason));
      promises.clear();
    }
    this.#tell('closed', reason);
  }

  #tell(type, detail) {
    this.dispatchEvent(new CustomEvent(type, {detail}));
  }
}
