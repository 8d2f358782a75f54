// The native program, spoken to as the browser does.

import {spawn} from 'node:child_process';

export class NativeConnection {
  #received = Buffer.alloc(0);
  #waiting = new Map(); // id of a request, or "event" -> resolve

  /** `installation` is what a stage has made. Resolves when the program has let the page in. */
  static async open({program, id}, origin) {
    const connection = new NativeConnection(program, id);
    await connection.call({id: 0, method: 'hello', params: {origin, protocol: 1}});
    return connection;
  }

  constructor(program, extensionId) {
    this.process = spawn(program, [`chrome-extension://${extensionId}/`], {
      stdio: ['pipe', 'pipe', 'inherit'],
    });
    this.process.stdout.on('data', (bytes) => {
      this.#received = Buffer.concat([this.#received, bytes]);
      this.#deliver();
    });
  }

  call(message) {
    const text = Buffer.from(JSON.stringify(message));
    const length = Buffer.alloc(4);
    length.writeUInt32LE(text.length);
    this.process.stdin.write(Buffer.concat([length, text]));
    return this.#next(message.id);
  }

  /** The next event. */
  event() {
    return this.#next('event');
  }

  end() {
    this.process.stdin.end();
    return new Promise((resolve) => this.process.on('exit', resolve));
  }

  #next(key) {
    return new Promise((resolve) => this.#waiting.set(key, resolve));
  }

  #deliver() {
    while (this.#received.length >= 4) {
      const end = 4 + this.#received.readUInt32LE();
      if (this.#received.length < end) return;
      const message = JSON.parse(this.#received.subarray(4, end));
      this.#received = this.#received.subarray(end);
      this.#waiting.get(message.event ? 'event' : message.id)?.(message);
    }
  }
}
