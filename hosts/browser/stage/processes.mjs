// Programs that the stage starts, and the lines that they print.

import {spawn} from 'node:child_process';
import {createInterface} from 'node:readline';

const PATIENCE_MS = 60_000;

export class Program {
  #lines = [];
  #waiting = new Set();
  #exited;
  #failed = false; // could not be started

  constructor(command, args, options = {}) {
    this.process = spawn(command, args, {stdio: ['ignore', 'pipe', 'pipe'], ...options});
    this.#exited = new Promise((resolve) => this.process.on('exit', resolve));
    this.#exited.then(() => this.#look());
    this.process.on('error', (error) => {
      this.#failed = true;
      this.#add(String(error));
    });
    for (const stream of [this.process.stdout, this.process.stderr]) {
      createInterface({input: stream}).on('line', (line) => this.#add(line));
    }
  }

  /** The first line, printed already or later, that `pattern` matches. */
  waitForLine(pattern) {
    return new Promise((resolve, reject) => {
      const fail = (why) => {
        this.#waiting.delete(look);
        clearTimeout(timer);
        reject(new Error(`${why} ${pattern} in:\n${this.#lines.join('\n')}`));
      };
      const look = () => {
        const match = this.#lines.map((line) => line.match(pattern)).find(Boolean);
        if (match) {
          this.#waiting.delete(look);
          clearTimeout(timer);
          resolve(match);
        } else if (this.process.exitCode !== null || this.#failed) {
          fail('The program has ended, or could not be started, without a line');
        }
      };
      const timer = setTimeout(() => fail('Waited in vain for a line'), PATIENCE_MS);
      this.#waiting.add(look);
      look();
    });
  }

  async end() {
    if (this.process.exitCode === null && this.process.pid) {
      this.process.kill();
      await this.#exited;
    }
  }

  #add(line) {
    this.#lines.push(line);
    this.#look();
  }

  #look() {
    for (const look of [...this.#waiting]) look();
  }
}
