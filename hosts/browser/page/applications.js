// The table of applications and the list of events.

import {ApplicationStates} from './application_state.js';
import {byId, element} from './dom.js';
import {explain} from './errors.js';

const LONGEST_LIST = 200;
const LOOK_AGAIN_MS = 2000;
const EVENT_TEXTS = {PENDING: 'Starting…', READY: 'Ready', GAMEISGONE: 'Ended'};

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
  #states;
  #body = byId('applications').tBodies[0];
  #timer;

  constructor(launcher) {
    this.#launcher = launcher;
    this.#states = new ApplicationStates(launcher.pipes);
    launcher.addEventListener('statechanged', async ({detail: {appId, state}}) => {
      this.#states.report(appId, state, Date.now());
      await this.refresh();
      this.#log(this.#states.nameOf(appId), EVENT_TEXTS[state] ?? state);
    });
    launcher.addEventListener('command', ({detail}) => {
      this.#log(this.#states.nameOf(detail.appId), [detail.name, ...detail.arguments].join(' '));
    });
    byId('refresh').addEventListener('click', () => this.refresh());
  }

  async refresh() {
    clearTimeout(this.#timer);
    try {
      const applications = await Promise.all(
        this.#launcher.applications.map((appId) => this.#lookUp(appId)),
      );
      for (const application of applications) this.#states.lookedUp(application);
      applications.sort((a, b) => Number(b.installed) - Number(a.installed));
      this.#body.replaceChildren(...applications.map((application) => this.#row(application)));
    } catch (error) {
      this.#log('Refresh', explain(error), true);
    }
    if (this.#states.canChangeUnreported(Date.now())) {
      this.#timer = setTimeout(() => this.refresh(), LOOK_AGAIN_MS);
    }
  }

  async #lookUp(appId) {
    const installed = await this.#launcher.isInstalled(appId);
    if (!installed) return {appId, installed, running: false, version: '', expansions: ''};
    const [running, version, expansions] = await Promise.all([
      this.#launcher.isRunning(appId),
      this.#launcher.getVersion(appId),
      this.#launcher.getParameter(appId, 'EXPANSIONS_INSTALLED'),
    ]);
    return {appId, installed, running, version, expansions};
  }

  #row({appId, installed, version, expansions}) {
    const {state, text, canLaunch, canEnd, sharesWith} = this.#states.describe(appId, Date.now());
    const name = [appId];
    if (installed && sharesWith.length > 0) {
      name.push(element('span', {class: 'hint'}, `shares its pipe with ${sharesWith.join(', ')}`));
    }
    return element(
      'tr',
      {'data-app': appId, class: installed ? '' : 'absent'},
      element('th', {scope: 'row'}, ...name),
      element('td', {}, element('span', {class: 'pill', 'data-state': state}, text)),
      element('td', {}, shortVersion(version)),
      element('td', {}, expansions.replaceAll(';', ', ')),
      element(
        'td',
        {class: 'actions'},
        ...(canLaunch ? [this.#button('Launch', appId, () => this.#launch(appId))] : []),
        ...(canEnd ? [this.#button('End', appId, () => this.#end(appId))] : []),
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
        this.#log(appId, explain(error), true);
      }
      button.disabled = false;
    });
    return button;
  }

  async #launch(appId) {
    if (await this.#launcher.launch(appId, byId('command-line').value)) return;
    const text = 'could not be started. Is the helper program installed? See Troubleshooting.';
    this.#log(appId, text, true);
  }

  async #end(appId) {
    if (!(await this.#launcher.kill(appId))) this.#log(appId, 'no running process was found', true);
    await this.refresh();
  }

  #log(source, text, isError = false) {
    const now = new Date();
    const time = element('time', {datetime: now.toISOString()}, now.toLocaleTimeString('en-GB'));
    const words = element('span', isError ? {class: 'error'} : {}, text);
    const list = byId('events');
    list.prepend(element('li', {}, time, element('strong', {}, source), words));
    while (list.childElementCount > LONGEST_LIST) list.lastElementChild.remove();
    byId('no-events').hidden = true;
  }
}
