// Chromium, driven through chromedriver by the W3C WebDriver protocol.

import {setTimeout} from 'node:timers/promises';

import {Program} from './processes.mjs';

const SCRIPT_LIMIT_MS = 60_000;
const LOOK_INTERVAL_MS = 500;
const WINDOW_WIDTH = 1200;
// What the protocol calls the member that names an element.
const ELEMENT_KEY = 'element-6066-11e4-a52e-4f735466cecf';

// What a browser in a test leaves alone: first-run pages, its own updates, and the network.
const QUIET = [
  '--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1',
  '--no-proxy-server',
  '--disable-background-networking',
  '--disable-component-update',
  '--disable-gpu',
  '--disable-quic',
  '--disable-sync',
  '--no-default-browser-check',
  '--no-first-run',
  // The browser no longer loads unpacked extensions by command line unless it is told to.
  '--disable-features=DisableLoadExtensionCommandLineSwitch',
];

export class Browser {
  #driver;
  #url;
  #session;

  static async start({profile, extension, headless, environment}) {
    const browser = new Browser();
    browser.#driver = new Program('chromedriver', ['--port=0'], {
      env: {...process.env, ...environment},
    });
    try {
      await browser.#open({profile, extension, headless});
    } catch (error) {
      await browser.end();
      throw error;
    }
    return browser;
  }

  async #open({profile, extension, headless}) {
    const [, port] = await this.#driver.waitForLine(/started successfully on port (\d+)/);
    this.#url = `http://127.0.0.1:${port}`;
    const args = [
      ...QUIET,
      `--user-data-dir=${profile}`,
      `--load-extension=${extension}`,
      ...(headless ? ['--headless=new', `--window-size=${WINDOW_WIDTH},1400`] : []),
      // The browser's own sandbox refuses to work for root.
      ...(process.getuid() === 0 ? ['--no-sandbox'] : []),
    ];
    const {sessionId} = await this.#call('POST', '/session', {
      capabilities: {alwaysMatch: {'goog:chromeOptions': {binary: '/usr/bin/chromium', args}}},
    });
    this.#session = `/session/${sessionId}`;
    await this.#post('/timeouts', {script: SCRIPT_LIMIT_MS});
  }

  async end() {
    if (this.#session) await this.#call('DELETE', this.#session);
    await this.#driver.end();
  }

  open(url) {
    return this.#post('/url', {url});
  }

  async click(selector) {
    await this.#post(`/element/${await this.#find(selector)}/click`);
  }

  /** Replaces what stands in a field, as a person would. */
  async type(selector, text) {
    const element = await this.#find(selector);
    await this.#post(`/element/${element}/clear`);
    await this.#post(`/element/${element}/value`, {text});
  }

  /** What follows happens inside of a frame of the page. */
  async enterFrame(selector) {
    await this.#post('/frame', {id: {[ELEMENT_KEY]: await this.#find(selector)}});
  }

  leaveFrame() {
    return this.#post('/frame', {id: null});
  }

  /** Runs an async function in the page; its result must be JSON. */
  async run(work, ...args) {
    const script = `
      const [args, done] = arguments;
      (${work})(...args).then((value) => done({value}), (error) =>
        done({failed: {code: error.code, message: String(error.message)}}));`;
    const {value, failed} = await this.#post('/execute/async', {script, args: [args]});
    if (failed) throw Object.assign(new Error(failed.message), {code: failed.code});
    return value;
  }

  /** Waits until the text of an element matches, and returns the text. */
  waitForText(selector, pattern) {
    const look = (wanted, source) =>
      new Promise((resolve) => {
        const observer = new MutationObserver(() => check());
        const check = () => {
          const text = document.querySelector(wanted)?.textContent ?? '';
          if (!new RegExp(source).test(text)) return;
          observer.disconnect();
          resolve(text);
        };
        observer.observe(document, {
          subtree: true, childList: true, characterData: true, attributes: true,
        });
        check();
      });
    return this.run(look, selector, pattern.source);
  }

  async screenshot() {
    return Buffer.from(await this.#call('GET', `${this.#session}/screenshot`), 'base64');
  }

  /** So that a screenshot shows the whole page. */
  async fitWindowToPage() {
    const height = await this.run(async () => document.documentElement.scrollHeight);
    await this.#call('POST', `${this.#session}/goog/cdp/execute`, {
      cmd: 'Emulation.setDeviceMetricsOverride',
      params: {width: WINDOW_WIDTH, height, deviceScaleFactor: 1, mobile: false},
    });
  }

  /** Resolves when a person has closed the window. */
  async closed() {
    for (;;) {
      try {
        await this.#call('GET', `${this.#session}/url`);
      } catch {
        this.#session = undefined;
        return;
      }
      await setTimeout(LOOK_INTERVAL_MS);
    }
  }

  async #find(selector) {
    const element = await this.#post('/element', {using: 'css selector', value: selector});
    return element[ELEMENT_KEY];
  }

  #post(path, body = {}) {
    return this.#call('POST', this.#session + path, body);
  }

  async #call(method, path, body) {
    const response = await fetch(this.#url + path, {
      method,
      body: body && JSON.stringify(body),
      headers: {'content-type': 'application/json'},
    });
    const {value} = await response.json();
    if (!response.ok) throw new Error(`${method} ${path}: ${value.message}`);
    return value;
  }
}
