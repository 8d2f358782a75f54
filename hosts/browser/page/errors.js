// What went wrong, in words for people, and what they can do about it.

const ADVICE = {
  not_installed:
    'The extension is not installed in this browser, or this page is not on its list. Install it, then reload the page.',
  refused: 'This page is not on the list of pages that may use the games on this computer.',
  blocked:
    'You have not allowed this page. Switch it on in the extension’s page (its toolbar button), then reload.',
  too_many_pages: 'Too many pages work with the games on this computer. Close one, then reload.',
  program_missing:
    'The extension found no program to start. Install it again: browser_host.exe is not registered, or is gone.',
  program_forbidden:
    'The program does not accept this extension: its manifest names another identifier.',
  dll_missing: 'The program found no launcher.dll that it can load. Install it again.',
  helper_missing:
    'The helper program gave no times: it is missing, or does not start. Install the games’ service again.',
  program_ended: 'The program has ended. Reload the page.',
  timed_out: 'There was no answer in time. Look for a message box of the launcher, then try again.',
  busy: 'Too much at once. Wait a moment and try again.',
};

const QUERY_ADVICE = {
  ERROR_SELECT_FAILED_OR_TIMEDOUT:
    'The server did not answer within a second. Check address and port, and whether it is up.',
  ERROR_RECVFROM_FAILED:
    'Nothing listens at this address and port. Check both, and whether the server is up.',
  ERROR_MARSHALLING_EXCEPTION: 'The answer was cut short. Try again.',
  ERROR_PROTOCOL_VERSION: 'The server speaks another version. Is it a server of these games?',
};

export function explain(error) {
  if (error.code === 'query_failed') {
    const advice = QUERY_ADVICE[error.message] ?? 'The server could not be asked.';
    return `${advice} (${error.message})`;
  }
  return ADVICE[error.code] ?? error.message;
}
