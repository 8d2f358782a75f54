// Stands between listed pages and the native program: one program for each page that connects.
//
// Who may connect is decided three times, each time by exact comparison: by the browser (a page
// that no match pattern of the manifest fits finds no way to this extension), here, and by the
// program with its own list of origins.

const NATIVE_PROGRAM = 'launcher.browser_host';
const PROTOCOL_VERSION = 1;
// The program's first answer belongs to this id; pages count theirs from 1.
const HELLO_ID = 0;

/** "http://127.0.0.1:8410/*" lets pages of the origin "http://127.0.0.1:8410" connect. */
function listedOrigins() {
  const patterns = chrome.runtime.getManifest().externally_connectable.matches;
  return new Set(patterns.map((pattern) => pattern.replace(/\/\*$/, '')));
}

/** `sender` is the browser's word, not the page's. */
function mayConnect(sender) {
  // A listed page inside of a foreign one could be made to be clicked unseen.
  const isTopFrame = sender.frameId === 0;
  return isTopFrame && listedOrigins().has(sender.origin);
}

function refuse(page, message) {
  page.postMessage({id: HELLO_ID, error: {code: 'origin_not_allowed', message}});
  page.disconnect();
}

function connect(page) {
  const program = chrome.runtime.connectNative(NATIVE_PROGRAM);
  program.onMessage.addListener((message) => page.postMessage(message));
  program.onDisconnect.addListener(() => {
    const message = chrome.runtime.lastError?.message ?? 'The native program has ended.';
    page.postMessage({closed: {code: 'program_ended', message}});
    page.disconnect();
  });
  page.onMessage.addListener((message) => program.postMessage(message));
  page.onDisconnect.addListener(() => program.disconnect());
  program.postMessage({
    id: HELLO_ID,
    method: 'hello',
    params: {origin: page.sender.origin, protocol: PROTOCOL_VERSION},
  });
}

chrome.runtime.onConnectExternal.addListener((page) => {
  if (mayConnect(page.sender)) {
    connect(page);
  } else {
    refuse(page, 'This page may not use the extension.');
  }
});
