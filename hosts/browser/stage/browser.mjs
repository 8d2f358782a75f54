// Chromium, driven by WebDriver.

import {setTimeout} from 'node:timers/promises';

import {Builder, By} from 'selenium-webdriver';
import chrome from 'selenium-webdriver/chrome.js';

const PATIENCE_MS = 60_000;
const LOOK_INTERVAL_MS = 500;
const WINDOW_WIDTH = 1200;

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

  static async start({profile, extension, headless, environment}) {
    const options = new chrome.Options()
      .setBinaryPath('/usr/bin/chromium')
      .addArguments(
        ...QUIET,
        `--user-data-dir=${profile}`,
        `--load-extension=${extension}`,
        ...(headless ? ['--headless=new', `--window-size=${WINDOW_WIDTH},1400`] : []),
        // The browser's own sandbox refuses to work for root.
        ...(process.getuid() === 0 ? ['--no-sandbox'] : []),
      );
    const service = new chrome.ServiceBuilder('/usr/bin/chromedriver').setEnvironment({
      ...process.env,
      ...environment,
    });
    const browser = new Browser();
    browser.#driver = await new Builder()
      .forBrowser('chrome')
      .setChromeOptions(options)
      .setChromeService(service)
      .build();
    await browser.#driver.manage().setTimeouts({script: PATIENCE_MS});
    return browser;
  }

  end() {
    return this.#driver.quit();
  }

  open(url) {
    return this.#driver.get(url);
  }

  back() {
    return this.#driver.navigate().back();
  }

  click(selector) {
    return this.#withElement(selector, (element) => element.click());
  }

  /** Replaces what stands in a field, as a person would. */
  async type(selector, text) {
    const element = await this.#find(selector);
    await element.clear();
    await element.sendKeys(text);
  }

  /** What follows happens inside of a frame of the page. */
  async enterFrame(selector) {
    await this.#driver.switchTo().frame(await this.#find(selector));
  }

  leaveFrame() {
    return this.#driver.switchTo().defaultContent();
  }

  /** Does `work` in a new tab that shows `url`, and closes it. */
  async inNewTab(url, work) {
    const before = await this.#driver.getWindowHandle();
    await this.#driver.switchTo().newWindow('tab');
    try {
      await this.open(url);
      return await work();
    } finally {
      await this.#driver.close();
      await this.#driver.switchTo().window(before);
    }
  }

  /** Switches a page on or off in the extension's page, as a person would. */
  allow({id}, origin, isAllowed = true) {
    const selector = `#pages li[data-origin="${origin}"] input`;
    return this.inNewTab(`chrome-extension://${id}/pages.html`, async () => {
      await this.#withElement(selector, async (element) => {
        if ((await element.isSelected()) !== isAllowed) await element.click();
      });
      await this.run(
        (origin, isAllowed) =>
          new Promise((resolve) => {
            const look = async () => {
              const {pages = {}} = await chrome.storage.local.get('pages');
              if (pages[origin]?.allowed === isAllowed) resolve();
              else chrome.storage.onChanged.addListener(look);
            };
            look();
          }),
        origin,
        isAllowed,
      );
    });
  }

  /** Runs an async function in the page; its result must be JSON. */
  async run(work, ...args) {
    const script = `
      const [args, done] = arguments;
      (${work})(...args).then((value) => done({value}), (error) =>
        done({failed: {code: error.code, message: String(error.message)}}));`;
    const {value, failed} = await this.#driver.executeAsyncScript(script, args);
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
    return Buffer.from(await this.#driver.takeScreenshot(), 'base64');
  }

  /** So that a screenshot shows the whole page, in this width and "dark" or "light". */
  async fitWindowToPage({width = WINDOW_WIDTH, scheme = 'light'} = {}) {
    const setSize = (height) =>
      this.#driver.sendDevToolsCommand('Emulation.setDeviceMetricsOverride', {
        width, height, deviceScaleFactor: 1, mobile: false,
      });
    await this.#driver.sendDevToolsCommand('Emulation.setEmulatedMedia', {
      features: [{name: 'prefers-color-scheme', value: scheme}],
    });
    await setSize(1000);
    await setSize(await this.run(async () => document.documentElement.scrollHeight));
  }

  /** Resolves when a person has closed the window. */
  async closed() {
    for (;;) {
      try {
        await this.#driver.getCurrentUrl();
      } catch {
        return;
      }
      await setTimeout(LOOK_INTERVAL_MS);
    }
  }

  /** The page may show an element late, and may replace it between being found and being used. */
  #withElement(selector, work) {
    return this.#driver.wait(async () => {
      try {
        await work(await this.#find(selector));
        return true;
      } catch (error) {
        if (!['StaleElementReferenceError', 'NoSuchElementError'].includes(error.name)) throw error;
        return false;
      }
    }, PATIENCE_MS);
  }

  #find(selector) {
    return this.#driver.findElement(By.css(selector));
  }
}
