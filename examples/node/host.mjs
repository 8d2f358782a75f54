// A host in Node.js: lists the applications, then asks a game server for its state.
//
//   node host.mjs DLL PORT        port of a server on this computer

import {setTimeout as sleep} from 'node:timers/promises';
import {APPLICATIONS, Launcher} from './launcher.mjs';

const POLL_INTERVAL_MSEC = 100;
const PATIENCE_MSEC = 20_000;

const [dll, port] = process.argv.slice(2);
if (!port) throw new Error('usage: node host.mjs DLL PORT');

const launcher = new Launcher(dll);
console.log(`launcher ${launcher.version}`);
for (const app of APPLICATIONS) {
  const state = launcher.isInstalled(app) ? 'installed' : 'missing';
  console.log(`${app}: ${state}, ${launcher.appVersion(app)}`);
}

launcher.queryServer('node-1', 'state', '1', '127.0.0.1', Number(port));
let answered = false;
for (const end = Date.now() + PATIENCE_MSEC; !answered && Date.now() < end; ) {
  launcher.pollApps();
  for (const event of launcher.events()) {
    console.log(`${event.name} from ${event.source}: ${event.arguments[0]}`);
    if (event.source === 'node-1') {
      console.log(event.arguments[1]);
      answered = true;
    }
  }
  if (!answered) await sleep(POLL_INTERVAL_MSEC);
}
launcher.close();
if (!answered) throw new Error("the server's answer did not come");
