// The sample page: connects, then hands the launcher to the parts of the page.

import {Applications} from './applications.js';
import {byId} from './dom.js';
import {connectLauncher} from './launcher.js';
import {setUpPing} from './ping.js';
import {setUpQuery} from './query.js';

function showConnection(state, text) {
  const pill = byId('connection');
  pill.dataset.state = state;
  pill.textContent = text;
}

function disableForms() {
  for (const button of document.querySelectorAll('button')) button.disabled = true;
}

try {
  const launcher = await connectLauncher();
  launcher.addEventListener('closed', ({detail}) => {
    showConnection('failed', `Not connected: ${detail.message}`);
    disableForms();
  });
  setUpPing(launcher);
  setUpQuery(launcher);
  await new Applications(launcher).refresh();
  showConnection('connected', `Connected, launcher ${launcher.launcherVersion}`);
} catch (error) {
  showConnection('failed', `Not connected: ${error.message}`);
  disableForms();
}
