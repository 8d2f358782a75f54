// The bar chart of round-trip times.

import {byId, element, whileBusy} from './dom.js';

function bar(milliseconds, longest) {
  const made = element('div', {class: 'bar', 'aria-hidden': 'true'});
  made.style.width = `${(100 * milliseconds) / longest}%`;
  return made;
}

function row({address, milliseconds}, longest) {
  const answered = milliseconds !== null;
  return element(
    'tr',
    {},
    element('th', {scope: 'row'}, address),
    element('td', {}, ...(answered ? [bar(milliseconds, longest)] : [])),
    element('td', {class: 'number'}, answered ? `${milliseconds} ms` : 'no answer'),
  );
}

/** The fastest first, those without an answer last. */
function sorted(times) {
  const rank = ({milliseconds}) => milliseconds ?? Infinity;
  return [...times].sort((a, b) => (rank(a) === rank(b) ? 0 : rank(a) - rank(b)));
}

function show(times) {
  const longest = Math.max(1, ...times.map(({milliseconds}) => milliseconds ?? 0));
  const chart = byId('ping-chart');
  chart.tBodies[0].replaceChildren(...sorted(times).map((time) => row(time, longest)));
  chart.hidden = false;
}

function summary(times) {
  const answered = times.filter(({milliseconds}) => milliseconds !== null).length;
  return `${answered} of ${times.length} answered.`;
}

export function setUpPing(launcher) {
  const form = byId('ping-form');
  const progress = byId('ping-progress');
  const message = byId('ping-message');
  form.addEventListener('submit', (submission) => {
    submission.preventDefault();
    const addresses = byId('addresses').value.split(/\s+/).filter(Boolean);
    whileBusy(form.querySelector('button'), message, async () => {
      progress.hidden = false;
      progress.max = Math.max(1, addresses.length);
      progress.value = 0;
      const onProgress = ({done, times}) => {
        progress.value = done;
        show(times);
      };
      try {
        message.textContent = summary(await launcher.ping(addresses, {onProgress}));
      } finally {
        progress.hidden = true;
      }
    });
  });
}
