// The sample page: connects, then hands the launcher to the parts of the page.

import {Applications} from './applications.js';
import {byId} from './dom.js';
import {explain} from './errors.js';
import {connectLauncher} from './launcher.js';
import {setUpPing} from './ping.js';
import {setUpQuery} from './query.js';

function showConnection(state, text) {
  const pill = byId('connection');
  pill.dataset.state = state;
  pill.textContent = text;
}

function showProblem(error) {
  showConnection('failed', 'Not connected');
  const problem = byId('problem');
  problem.textContent = explain(error);
  problem.dataset.code = error.code;
  problem.hidden = false;
  for (const button of document.querySelectorAll('button')) button.disabled = true;
}

function onWaiting() {
  showConnection('waiting', 'Waiting for you');
  const hint = byId('problem');
  hint.textContent =
    'Allow this page in the window that the extension has opened, or with its toolbar button.';
  hint.dataset.code = 'permission';
  hint.hidden = false;
}

async function showConnected(launcher, applications) {
  await applications.refresh();
  byId('problem').hidden = true;
  for (const button of document.querySelectorAll('button')) button.disabled = false;
  showConnection('connected', `Connected, launcher ${launcher.launcherVersion}`);
}

try {
  const launcher = await connectLauncher({onWaiting});
  const applications = new Applications(launcher);
  launcher.addEventListener('closed', ({detail}) => showProblem(detail));
  launcher.addEventListener('reopened', () => showConnected(launcher, applications));
  setUpPing(launcher);
  setUpQuery(launcher);
  await showConnected(launcher, applications);
} catch (error) {
  showProblem(error);
}
