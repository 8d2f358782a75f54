// The table of applications and the list of events.

import {byId, element} from './dom.js';

const STATE_TEXTS = {
  PENDING: 'Starting…',
  READY: 'Ready',
  GAMEISGONE: 'Ended',
  running: 'Running',
  idle: 'Not running',
  absent: 'Not installed',
};
const LONGEST_LIST = 200;

/** A game's version is the text of a file, which usually is JSON. */
function shortVersion(text) {
  try {
    return JSON.parse(text).version ?? text;
  } catch {
    return text;
  }
}

export class Applications {
  #launcher;
  #body = byId('applications').tBodies[0];
  #states = new Map(); // what the launcher reported last

  constructor(launcher) {
    this.#launcher = launcher;
    launcher.addEventListener('statechanged', ({detail}) => {
      this.#states.set(detail.appId, detail.state);
      this.#log(detail.appId, STATE_TEXTS[detail.state] ?? detail.state);
      this.refresh();
    });
    launcher.addEventListener('command', ({detail}) => {
      this.#log(detail.appId, [detail.name, ...detail.arguments].join(' '));
    });
    byId('refresh').addEventListener('click', () => this.refresh());
  }

  async refresh() {
    const applications = await Promise.all(
      this.#launcher.applications.map((appId) => this.#lookUp(appId)),
    );
    applications.sort((a, b) => Number(b.installed) - Number(a.installed));
    this.#body.replaceChildren(...applications.map((application) => this.#row(application)));
  }

  async #lookUp(appId) {
    const installed = await this.#launcher.isInstalled(appId);
    if (!installed) return {appId, installed, state: 'absent', version: '', expansions: ''};
    const [running, version, expansions] = await Promise.all([
      this.#launcher.isRunning(appId),
      this.#launcher.getVersion(appId),
      this.#launcher.getParameter(appId, 'EXPANSIONS_INSTALLED'),
    ]);
    const state = this.#states.get(appId) ?? (running ? 'running' : 'idle');
    return {appId, installed, running, state, version, expansions};
  }

  #row({appId, installed, running, state, version, expansions}) {
    const isStoreClient = appId === 'OSTREL-APP';
    return element(
      'tr',
      {'data-app': appId, class: installed ? '' : 'absent'},
      element('th', {scope: 'row'}, appId),
      element('td', {}, element('span', {class: 'pill', 'data-state': state}, STATE_TEXTS[state])),
      element('td', {}, shortVersion(version)),
      element('td', {}, expansions.replaceAll(';', ', ')),
      element(
        'td',
        {class: 'actions'},
        ...(installed ? [this.#button('Launch', appId, () => this.#launch(appId))] : []),
        ' ',
        ...(running && !isStoreClient ? [this.#button('End', appId, () => this.#end(appId))] : []),
      ),
    );
  }

  #button(text, appId, work) {
    const button = element('button', {type: 'button', 'aria-label': `${text} ${appId}`}, text);
    if (text !== 'Launch') button.className = 'quiet';
    button.addEventListener('click', async () => {
      button.disabled = true;
      try {
        await work();
      } catch (error) {
        this.#log(appId, error.message);
      }
      button.disabled = false;
    });
    return button;
  }

  async #launch(appId) {
    const started = await this.#launcher.launch(appId, byId('command-line').value);
    if (!started) this.#log(appId, 'could not be started');
  }

  async #end(appId) {
    const ended = await this.#launcher.kill(appId);
    if (!ended) this.#log(appId, 'no running process was found');
  }

  #log(source, text) {
    const now = new Date();
    const time = element('time', {datetime: now.toISOString()}, now.toLocaleTimeString('en-GB'));
    const list = byId('events');
    list.prepend(element('li', {}, time, element('strong', {}, source), element('span', {}, text)));
    while (list.childElementCount > LONGEST_LIST) list.lastElementChild.remove();
    byId('no-events').hidden = true;
  }
}
