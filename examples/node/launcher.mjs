// launcher.dll for Node.js and its kin (Electron's main process): the slots of launcher_c.h through
// koffi.

import koffi from 'koffi';

/** The identifiers of all applications. */
export const APPLICATIONS = [
  'TAVR-GAME',
  'TAMSIN-BETA2-GAME',
  'TAMSIN-MAINLINE-GAME',
  'TAMSIN-CTE-GAME',
  'BRENNA-GAME',
  'BRENNA-CTE-GAME',
  'SOLANO-GAME',
  'OSTREL-APP',
];

const ABI_VERSION = 1;

const kernel32 = koffi.load('kernel32.dll');
const GetModuleHandleW = kernel32.func('void *GetModuleHandleW(str16)');
const GetProcAddress = kernel32.func('void *GetProcAddress(void *, str)');
const CreateEventW = kernel32.func('void *CreateEventW(void *, int, int, void *)');
const CloseHandle = kernel32.func('int CloseHandle(void *)');

// The slots that are called here: number, type.
const STRING_SLOTS = {
  getString: [0, koffi.proto('str16 GetString(void *self)')],
};
const EVENT_SLOT = koffi.proto('str16 GetEventText(void *self)');
const EVENT_TEXTS = 10;
const LAUNCHER_SLOTS = {
  getNextEvent: [1, koffi.proto('void *GetNextEvent(void *self)')],
  freeEvent: [2, koffi.proto('void FreeEvent(void *self, void *event)')],
  freeString: [3, koffi.proto('void FreeString(void *self, void *string)')],
  isInstalled: [6, koffi.proto('bool IsInstalled(void *self, str16 app)')],
  getVersion: [7, koffi.proto('void *GetVersion(void *self, str16 app)')],
  getLauncherVersion: [10, koffi.proto('void *GetLauncherVersion(void *self)')],
  queryServer: [
    16,
    koffi.proto(
      'void QueryServer(void *self, str16 request, str16 text, str16 game, str16 address, uint32_t port)',
    ),
  ],
  pollApps: [17, koffi.proto('void PollApps(void *self)')],
};

/** Calls a slot: an object begins with the address of its table of functions. */
function invoke(object, [number, type], ...values) {
  const table = koffi.decode(object, 'void *');
  const slot = koffi.decode(table, number * koffi.sizeof('void *'), 'void *');
  return koffi.call(slot, type, object, ...values);
}

/** One launcher. */
export class Launcher {
  #library;
  #queued;
  #raw;

  /** Loads the DLL and creates a launcher. */
  constructor(dll) {
    this.#library = koffi.load(dll);
    const version = koffi.decode(this.#library.symbol('g_LauncherABIVersion', 'uint32_t'), 'uint32_t');
    if (version !== ABI_VERSION) throw new Error(`${dll} has contract ${version}`);

    // The notifier is the system's SetEvent: a function in JavaScript would run on the main thread
    // while the launcher's thread waits for it under the lock that the main thread needs.
    const setEvent = GetProcAddress(GetModuleHandleW('kernel32.dll'), 'SetEvent');
    this.#queued = CreateEventW(null, 0, 0, null);
    const create = this.#library.func('void *CreateLauncher(void *plugin, void *notifier)');
    this.#raw = create(this.#queued, setEvent);
    if (!this.#raw) throw new Error('out of memory');
  }

  /** Destroys the launcher, after it has waited for the results that are outstanding. */
  close() {
    this.#library.func('void DestroyLauncher(void *launcher)')(this.#raw);
    CloseHandle(this.#queued);
    this.#raw = null;
  }

  get version() {
    return this.#take(this.#call('getLauncherVersion'));
  }

  isInstalled(app) {
    return this.#call('isInstalled', app);
  }

  appVersion(app) {
    return this.#take(this.#call('getVersion', app));
  }

  /** The answer is an event "QueryServerResult"; `request` must not be an application's identifier. */
  queryServer(request, text, game, address, port) {
    this.#call('queryServer', request, text, game, address, port);
  }

  /** Looks after the pipes of running games. To be called about ten times a second. */
  pollApps() {
    this.#call('pollApps');
  }

  /** Fetches the events that are queued: {source, name, arguments}. */
  *events() {
    for (let event; (event = this.#call('getNextEvent')); ) {
      const texts = Array.from({length: EVENT_TEXTS}, (_, slot) => invoke(event, [slot, EVENT_SLOT]));
      this.#call('freeEvent', event);
      const [source, name, ...args] = texts;
      yield {source, name, arguments: args};
    }
  }

  #call(slot, ...values) {
    return invoke(this.#raw, LAUNCHER_SLOTS[slot], ...values);
  }

  /** Copies a text result and gives it back. There is none when memory has run out. */
  #take(string) {
    if (!string) return '';
    const text = invoke(string, STRING_SLOTS.getString);
    this.#call('freeString', string);
    return text;
  }
}
