// The extension's page, also in the toolbar button and in the window that asks: which pages may
// connect, and what happens now.

import {listedOrigins, readPages} from './permissions.js';

const GAME_STATES = {PENDING: 'starting', READY: 'running', GAMEISGONE: 'ended'};

let connections = [];
const port = chrome.runtime.connect();
port.onMessage.addListener((state) => {
  connections = state;
  show();
});
chrome.storage.onChanged.addListener(show);

function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

function button(text, origin, allowed, className) {
  const made = element('button', {type: 'button', class: className}, text);
  made.addEventListener('click', () => port.postMessage({origin, allowed}));
  return made;
}

function questionRow(origin) {
  return element(
    'li',
    {'data-origin': origin},
    element('strong', {}, origin),
    element(
      'span',
      {class: 'choice'},
      button('Allow', origin, true, 'main'),
      button('Don’t allow', origin, false, ''),
    ),
  );
}

function nowRow({origin, games}) {
  const told = Object.entries(games).map(([appId, state]) => `${appId} ${GAME_STATES[state] ?? state}`);
  return element(
    'li',
    {},
    element('strong', {}, origin),
    element('span', {class: 'hint'}, told.length > 0 ? told.join(', ') : 'connected, no game running'),
  );
}

function pageRow(origin, {allowed, lastUsed} = {}) {
  const input = element('input', {type: 'checkbox', role: 'switch'});
  input.checked = allowed === true;
  input.addEventListener('change', () => port.postMessage({origin, allowed: input.checked}));
  const used = lastUsed ? `last used ${new Date(lastUsed).toLocaleString()}` : 'never used';
  return element(
    'li',
    {'data-origin': origin},
    element('label', {}, input, element('strong', {}, origin)),
    element('span', {class: 'hint'}, used),
  );
}

async function show() {
  const pages = await readPages();
  const waiting = new Set(connections.filter(({isWaiting}) => isWaiting).map(({origin}) => origin));
  const open = connections.filter(({isWaiting}) => !isWaiting);
  document.getElementById('question').hidden = waiting.size === 0;
  document.getElementById('questions').replaceChildren(...[...waiting].map(questionRow));
  document
    .getElementById('now')
    .replaceChildren(
      ...(open.length > 0
        ? open.map(nowRow)
        : [element('li', {class: 'hint'}, 'No page is connected.')]),
    );
  document
    .getElementById('pages')
    .replaceChildren(...listedOrigins().map((origin) => pageRow(origin, pages[origin])));
}

show();
