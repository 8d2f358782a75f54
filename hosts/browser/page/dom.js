// Elements from texts; nothing here ever reads HTML, so no name from a server can become any.

import {explain} from './errors.js';

/** `element('td', {class: 'number'}, '12')` */
export function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

export function byId(id) {
  return document.getElementById(id);
}

/** Runs `work` while `button` is disabled; tells `message` why it failed. */
export async function whileBusy(button, message, work) {
  button.disabled = true;
  message.textContent = '';
  message.classList.remove('error');
  try {
    await work();
  } catch (error) {
    message.textContent = explain(error);
    message.classList.add('error');
  } finally {
    button.disabled = false;
  }
}
