// Which listed pages the person at this computer has allowed, and when each was last used.
// Kept in the extension's storage as {pages: {origin: {allowed, lastUsed}}}.

/** "http://127.0.0.1:8410/*" lets pages of the origin "http://127.0.0.1:8410" connect. */
export function listedOrigins() {
  const patterns = chrome.runtime.getManifest().externally_connectable.matches;
  return patterns.map((pattern) => pattern.replace(/\/\*$/, ''));
}

export async function readPages() {
  const {pages = {}} = await chrome.storage.local.get('pages');
  return pages;
}

// One change after the other, or the later would undo the earlier.
let changes = Promise.resolve();

function change(origin, values) {
  const work = async () => {
    const pages = await readPages();
    pages[origin] = {...pages[origin], ...values};
    await chrome.storage.local.set({pages});
  };
  changes = changes.then(work, work);
  return changes;
}

export function setAllowed(origin, allowed) {
  return change(origin, {allowed});
}

export function setUsed(origin) {
  return change(origin, {lastUsed: Date.now()});
}
