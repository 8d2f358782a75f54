// The stage for the browser host: games and a store client that a launcher finds, a game server,
// the kit's helper, and an installation of the extension and the native program under Wine. Tests,
// the demonstration and the measurement share it.

import {execFileSync} from 'node:child_process';
import {chmodSync, copyFileSync, existsSync, mkdirSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import {fileURLToPath} from 'node:url';

import {makeInstallation} from '../make_installation.mjs';
import {Program} from './processes.mjs';

export const ROOT = join(dirname(fileURLToPath(import.meta.url)), '../../..');
export const PAGE_FOLDER = join(ROOT, 'hosts/browser/page');
const RUN_WINE = join(ROOT, 'scripts/run-wine');

// The launcher looks into the registry's 32-bit view.
const SOFTWARE = 'HKLM\\SOFTWARE\\Wow6432Node';
const KEYS = {
  company: `${SOFTWARE}\\Hollin Games`,
  solano: `${SOFTWARE}\\Hollin Games\\Ashgrove 3`,
  brenna: `${SOFTWARE}\\Hollin Games\\Ashgrove 4`,
  store: `${SOFTWARE}\\Ostrel`,
};

/** As Wine names a file of Linux. */
export function windowsPath(path) {
  return `Z:${path.replaceAll('/', '\\')}`;
}

function shellQuoted(text) {
  return `'${text.replaceAll("'", "'\\''")}'`;
}

function registry(...args) {
  execFileSync(RUN_WINE, ['reg', ...args], {stdio: ['ignore', 'ignore', 'pipe']});
}

export class Stage {
  constructor({work, build = join(ROOT, 'build/release')}) {
    this.work = work;
    this.build = build;
    this.programs = join(build, 'bin');
    this.profile = join(work, 'profile');
    this.gameLog = join(work, 'game.log');
    this.startsLog = join(work, 'starts.log');
  }

  /** Nothing of an earlier stage remains. */
  setUp() {
    rmSync(this.work, {recursive: true, force: true});
    mkdirSync(this.work, {recursive: true});
    this.#removeKeys();
    this.#installGame('solano', 'ag3.exe', '2.1.0', ['Xpack1', 'Xpack2']);
    this.#installGame('brenna', 'ag4.exe', '1.8.2', []);
    registry('add', KEYS.store, '/v', 'ClientVersion', '/d', '9.4.17', '/f');
  }

  /** Writes extension, list and manifests, the latter where a browser with our profile looks. */
  install({origins, extensionOrigins}) {
    const program = join(this.work, 'run-browser-host');
    const installation = makeInstallation({
      out: join(this.work, 'installation'),
      program,
      origins,
      extensionOrigins,
    });
    this.#writeStarter(program, installation.originList);
    const folder = join(this.profile, 'NativeMessagingHosts');
    mkdirSync(folder, {recursive: true});
    copyFileSync(installation.nativeManifest, join(folder, 'launcher.browser_host.json'));
    return {...installation, program};
  }

  /** Resolves to the port that the game server listens on. */
  async startGameServer(...options) {
    this.gameServer = new Program(RUN_WINE, [join(this.programs, 'demo_server.exe'), ...options]);
    const [, port] = await this.gameServer.waitForLine(/listening on 127\.0\.0\.1:(\d+)/);
    return Number(port);
  }

  /** How often the browser has started the native program. */
  programStarts() {
    return existsSync(this.startsLog) ? readFileSync(this.startsLog, 'utf8').length : 0;
  }

  gameLines() {
    return existsSync(this.gameLog) ? readFileSync(this.gameLog, 'utf8').split(/\r?\n/) : [];
  }

  async clear() {
    await this.gameServer?.end();
    this.#removeKeys();
  }

  #installGame(name, executable, version, expansions) {
    const folder = join(this.work, name);
    mkdirSync(folder);
    for (const expansion of expansions) mkdirSync(join(folder, 'Update', expansion), {recursive: true});
    copyFileSync(join(this.programs, 'demo_game.exe'), join(folder, executable));
    writeFileSync(join(folder, 'version.json'), JSON.stringify({version}));
    registry('add', KEYS[name], '/v', 'Install Dir', '/d', windowsPath(folder), '/f');
  }

  #removeKeys() {
    for (const key of [KEYS.company, KEYS.store]) {
      try {
        registry('delete', key, '/f');
      } catch {
        // It did not exist.
      }
    }
  }

  // What the browser starts in place of the .exe: on Windows it would be that itself.
  #writeStarter(path, originList) {
    const environment = {
      KOVLAUNCH_INSTDIR: windowsPath(this.programs),
      KIT_HELPER_PING_MODE: 'fixed',
      KIT_GAME_OPTIONS: `--send "PlayerJoined Aldo squad 3" --log ${windowsPath(this.gameLog)}`,
    };
    const exports = Object.entries(environment).map(
      ([name, value]) => `export ${name}=${shellQuoted(value)}`,
    );
    const command = [
      RUN_WINE,
      join(this.programs, 'browser_host.exe'),
      '--dll',
      windowsPath(join(this.build, 'launcher.dll')),
      '--origins',
      windowsPath(originList),
    ].map(shellQuoted);
    writeFileSync(
      path,
      [
        '#!/bin/bash',
        ...exports,
        `printf . >>${shellQuoted(this.startsLog)}`,
        `exec ${command.join(' ')} "$@"`,
        '',
      ].join('\n'),
    );
    chmodSync(path, 0o755);
  }
}
