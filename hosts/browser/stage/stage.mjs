// The stage for the browser host: games and a store client that a launcher finds, a game server,
// the kit's helper, and an installation of the extension and the native program under Wine. Tests,
// the demonstration and the measurement share it.

import {execFileSync} from 'node:child_process';
import {
  chmodSync,
  copyFileSync,
  existsSync,
  mkdirSync,
  readFileSync,
  rmSync,
  writeFileSync,
} from 'node:fs';
import {dirname, join} from 'node:path';
import {fileURLToPath} from 'node:url';

import {makeInstallation} from '../make_installation.mjs';
import {Program} from './processes.mjs';

export const ROOT = join(dirname(fileURLToPath(import.meta.url)), '../../..');
const RUN_WINE = join(ROOT, 'scripts/run-wine');

// The launcher looks into the registry's 32-bit view.
const SOFTWARE = 'HKEY_LOCAL_MACHINE\\SOFTWARE\\Wow6432Node';
const COMPANY = `${SOFTWARE}\\Hollin Games`;
const STORE = `${SOFTWARE}\\Ostrel`;

/** As Wine names a file of Linux. */
export function windowsPath(path) {
  return `Z:${path.replaceAll('/', '\\')}`;
}

function shellQuoted(text) {
  return `'${text.replaceAll("'", "'\\''")}'`;
}

function registryKey(key, values) {
  const lines = Object.entries(values).map(
    ([name, text]) => `"${name}"="${text.replaceAll('\\', '\\\\')}"`,
  );
  return `[${key}]\r\n${lines.join('\r\n')}\r\n`;
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
    const solano = this.#installGame('solano', 'ag3.exe', '2.1.0', ['Xpack1', 'Xpack2']);
    const brenna = this.#installGame('brenna', 'ag4.exe', '1.8.2', []);
    this.#changeRegistry(
      `[-${COMPANY}]\r\n[-${STORE}]\r\n`,
      registryKey(`${COMPANY}\\Ashgrove 3`, {'Install Dir': windowsPath(solano)}),
      registryKey(`${COMPANY}\\Ashgrove 4`, {'Install Dir': windowsPath(brenna)}),
      registryKey(STORE, {ClientVersion: '9.4.17'}),
    );
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
    this.#changeRegistry(`[-${COMPANY}]\r\n[-${STORE}]\r\n`);
  }

  /** Takes the files away, too. */
  remove() {
    rmSync(this.work, {recursive: true, force: true});
  }

  // Returns the game's folder.
  #installGame(name, executable, version, expansions) {
    const folder = join(this.work, name);
    mkdirSync(folder);
    for (const expansion of expansions) {
      mkdirSync(join(folder, 'Update', expansion), {recursive: true});
    }
    copyFileSync(join(this.programs, 'demo_game.exe'), join(folder, executable));
    writeFileSync(join(folder, 'version.json'), JSON.stringify({version}));
    return folder;
  }

  // In one go: every start of a Windows program takes its time.
  #changeRegistry(...keys) {
    const file = join(this.work, 'registry.reg');
    writeFileSync(file, ['Windows Registry Editor Version 5.00\r\n', ...keys, ''].join('\r\n'));
    execFileSync(RUN_WINE, ['reg', 'import', windowsPath(file)], {
      stdio: ['ignore', 'ignore', 'pipe'],
    });
  }

  // What the browser starts in place of the .exe: on Windows it would be that itself.
  #writeStarter(path, originList) {
    const environment = {
      KOVLAUNCH_INSTDIR: windowsPath(this.programs),
      KIT_HELPER_PING_MODE: 'fixed',
      KIT_GAME_OPTIONS: [
        '--wait 60',
        '--send "RoundStarted Old Harbour"',
        '--send "PlayerJoined Bryn squad 1"',
        '--send "PlayerJoined Aldo squad 3"',
        `--log ${windowsPath(this.gameLog)}`,
      ].join(' '),
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
