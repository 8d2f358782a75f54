// What the browser's messaging costs by itself: a message comes back from here, or from the native
// program, without a check on the way.

const NATIVE_PROGRAM = 'launcher.plain';

chrome.runtime.onConnectExternal.addListener((page) => {
  if (page.name === 'echo') {
    page.onMessage.addListener((message) => page.postMessage(message));
    return;
  }
  const program = chrome.runtime.connectNative(NATIVE_PROGRAM);
  page.onMessage.addListener((message) => program.postMessage(message));
  program.onMessage.addListener((message) => page.postMessage(message));
  page.onDisconnect.addListener(() => program.disconnect());
  program.onDisconnect.addListener(() => page.disconnect());
});
