// What a page may send. The native program has limits of its own; these keep one page from using up
// the extension that all pages share.

export const MOST_LEVELS = 32;
export const MOST_BYTES = 1024 * 1024; // of one message, and of all that are under way
export const MOST_REQUESTS = 64; // under way
/** A page that goes on sending although it is told "busy" is cut off. */
export const MOST_REFUSALS = 256; // within a minute
export const MOST_CONNECTIONS = 8; // each is a process
export const MOST_CONNECTIONS_OF_A_SITE = 4; // so that one site cannot take them all

/** Without recursion: a message may be nested as deep as its sender likes. */
export function isTooDeep(message) {
  const open = [[message, 1]];
  while (open.length > 0) {
    const [value, level] = open.pop();
    if (typeof value !== 'object' || value === null) continue;
    if (level > MOST_LEVELS) return true;
    for (const member of Object.values(value)) open.push([member, level + 1]);
  }
  return false;
}

/** As the browser writes it for the native program: it escapes "<", too. Only for flat messages. */
export function sizeOf(message) {
  const text = JSON.stringify(message);
  return new TextEncoder().encode(text).length + 5 * (text.split('<').length - 1);
}
