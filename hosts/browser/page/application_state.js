// The one place that decides what a person is told of an application.
//
// Some applications share a pipe (editions of one game), and the launcher reports a game under the
// first of them that reached the pipe, installed or not. So what is reported counts for the pipe; which
// edition it is follows from which is installed and runs.

/** Whether a start has failed when nothing else was heard of it for so long. */
export const START_LIMIT_MS = 60_000;

const TEXTS = {
  absent: 'Not installed',
  present: 'Installed',
  starting: 'Starting…',
  running: 'Running',
  ready: 'Ready',
  ended: 'Ended',
  idle: 'Not running',
};

export class ApplicationStates {
  #pipes; // appId -> name of its pipe; the store client has none
  #applications = new Map(); // appId -> {appId, installed, running}, as looked up last
  #connected = new Set(); // pipes
  #starting = new Map(); // appId -> when it was started
  #ended = new Set(); // appIds

  constructor(pipes) {
    this.#pipes = pipes;
  }

  /** `state` is what the launcher reported for `appId` at the time `now`. */
  report(appId, state, now) {
    const pipe = this.#pipes[appId];
    if (state === 'PENDING') {
      this.#starting.set(appId, now);
      return;
    }
    for (const sharer of this.#sharers(appId)) {
      const wasUp = ['starting', 'running', 'ready'].includes(this.#stateOf(sharer, now));
      this.#starting.delete(sharer);
      if (state === 'GAMEISGONE' && wasUp) this.#ended.add(sharer);
    }
    if (state === 'READY') this.#connected.add(pipe);
    if (state === 'GAMEISGONE') this.#connected.delete(pipe);
  }

  /** What `isInstalled` and `isRunning` answered. */
  lookedUp(application) {
    const {appId, running} = application;
    if (running) {
      this.#starting.delete(appId);
      this.#ended.delete(appId);
    } else if (this.#isRunning(appId)) {
      this.#ended.add(appId);
    }
    this.#applications.set(appId, application);
  }

  /** {state, text, canLaunch, canEnd, sharesWith} */
  describe(appId, now) {
    const state = this.#stateOf(appId, now);
    return {
      state,
      text: TEXTS[state],
      canLaunch: ['present', 'idle', 'ended'].includes(state),
      canEnd: Boolean(this.#applications.get(appId)?.running),
      sharesWith: this.#sharers(appId).filter((other) => other !== appId),
    };
  }

  /** Whose event it is, for people: the launcher's word, or the edition that must be meant. */
  nameOf(appId) {
    const possible = this.#sharers(appId).filter((other) => this.#isInstalled(other));
    const running = possible.filter((other) => this.#isRunning(other));
    const meant = running.length > 0 ? running : possible;
    return meant.length > 0 ? meant.join(' or ') : appId;
  }

  /**
   * Whether an application can change without a report: a start that fails, a game without a
   * connected pipe, and one whose process outlives its pipe for a moment report nothing.
   */
  canChangeUnreported(now) {
    return [...this.#applications.keys()].some((appId) =>
      ['starting', 'running'].includes(this.#stateOf(appId, now)),
    );
  }

  #stateOf(appId, now) {
    if (!this.#isInstalled(appId)) return 'absent';
    const pipe = this.#pipes[appId];
    if (!pipe) return 'present';
    const installed = this.#sharers(appId).filter((other) => this.#isInstalled(other));
    const running = installed.filter((other) => this.#isRunning(other));
    const isConnected = this.#connected.has(pipe);
    if (this.#isRunning(appId)) {
      // With two running editions nobody knows which of them has the pipe.
      return isConnected && running.length === 1 ? 'ready' : 'running';
    }
    if (isConnected && running.length === 0 && installed.length === 1) return 'ready';
    if (now - (this.#starting.get(appId) ?? -Infinity) < START_LIMIT_MS) return 'starting';
    return this.#ended.has(appId) ? 'ended' : 'idle';
  }

  #sharers(appId) {
    const pipe = this.#pipes[appId];
    if (!pipe) return [appId];
    return Object.keys(this.#pipes).filter((other) => this.#pipes[other] === pipe);
  }

  #isInstalled(appId) {
    return Boolean(this.#applications.get(appId)?.installed);
  }

  #isRunning(appId) {
    return Boolean(this.#applications.get(appId)?.running);
  }
}
