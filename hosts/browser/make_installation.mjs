// node hosts/browser/make_installation.mjs --out FOLDER --program PATH --origin ORIGIN...
//
// Writes what an installation of the browser host consists of besides its programs: the extension
// with its match patterns, the program's list of origins, and the manifest by which the browser
// finds the program. All three say the same because they are made from the same list.
//
//   --out FOLDER      made if it is missing
//   --program PATH    what the browser is to start: browser_host.exe, with its full path
//   --origin ORIGIN   a page's origin, as in https://games.example; may be repeated. Behind it, as
//                     in --origin "https://games.example probe", the permissions of its pages

import {createHash} from 'node:crypto';
import {cpSync, mkdirSync, readFileSync, writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import {fileURLToPath} from 'node:url';
import {parseArgs} from 'node:util';

const SOURCE = dirname(fileURLToPath(import.meta.url));
export const NATIVE_NAME = 'launcher.browser_host';

/** The browser derives an extension's id from its key: half of a digest, in the letters a to p. */
export function extensionId(key) {
  const digest = createHash('sha256').update(Buffer.from(key, 'base64')).digest('hex');
  return [...digest.slice(0, 32)]
    .map((digit) => String.fromCharCode('a'.charCodeAt(0) + parseInt(digit, 16)))
    .join('');
}

function writeJson(path, value) {
  writeFileSync(path, `${JSON.stringify(value, null, 2)}\n`);
}

/**
 * `origins` for the program and `extensionOrigins` for the extension are the same list unless a
 * test wants them to differ.
 */
export function makeInstallation({out, program, origins, extensionOrigins = origins}) {
  const extension = join(out, 'extension');
  mkdirSync(out, {recursive: true});
  cpSync(join(SOURCE, 'extension'), extension, {recursive: true});

  const manifest = JSON.parse(readFileSync(join(extension, 'manifest.json'), 'utf8'));
  manifest.externally_connectable.matches = extensionOrigins.map(
    (origin) => `${origin.split(/\s/)[0]}/*`,
  );
  writeJson(join(extension, 'manifest.json'), manifest);

  const id = extensionId(manifest.key);
  const originList = join(out, 'origins.txt');
  writeFileSync(originList, [`chrome-extension://${id}`, ...origins, ''].join('\n'));

  const nativeManifest = join(out, `${NATIVE_NAME}.json`);
  writeJson(nativeManifest, {
    name: NATIVE_NAME,
    description: 'Lets listed web pages use launcher.dll',
    path: program,
    type: 'stdio',
    allowed_origins: [`chrome-extension://${id}/`],
  });
  return {extension, originList, nativeManifest, id};
}

function main() {
  const {values} = parseArgs({
    options: {
      out: {type: 'string'},
      program: {type: 'string'},
      origin: {type: 'string', multiple: true},
    },
  });
  if (!values.out || !values.program || !values.origin) {
    console.error('make_installation: --out, --program and --origin are needed');
    process.exit(2);
  }
  console.log(makeInstallation({...values, origins: values.origin}));
}

if (process.argv[1] === fileURLToPath(import.meta.url)) main();
