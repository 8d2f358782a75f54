// Makes an installation of the browser host; HELP says how.

import {createHash} from 'node:crypto';
import {cpSync, mkdirSync, readFileSync, writeFileSync} from 'node:fs';
import {dirname, join} from 'node:path';
import {fileURLToPath} from 'node:url';
import {parseArgs} from 'node:util';

const HELP = `node hosts/browser/make_installation.mjs --out FOLDER --program PATH --origin ORIGIN...

Writes what an installation of the browser host consists of besides its programs: the extension
with its match patterns, the program's list of origins, and the manifest by which the browser
finds the program. All three say the same because they are made from the same list.

  --out FOLDER      made if it is missing
  --program PATH    what the browser is to start: browser_host.exe, with its full path
  --origin ORIGIN   a page's origin, as in https://games.example; may be repeated. After it, as
                    in --origin "https://games.example probe", the permissions of its pages
  --help            this text
`;

const SOURCE = dirname(fileURLToPath(import.meta.url));
export const NATIVE_NAME = 'launcher.browser_host';

/** The browser derives an extension's id from its key: half of a digest, in the letters a to p. */
export function extensionId(key) {
  const digest = createHash('sha256').update(Buffer.from(key, 'base64')).digest('hex');
  return [...digest.slice(0, 32)]
    .map((digit) => String.fromCharCode('a'.charCodeAt(0) + parseInt(digit, 16)))
    .join('');
}

const HOST_OF_THIS_COMPUTER = /^(127\.0\.0\.1|localhost)$/;

/** What is wrong with an origin and how to mend it; null for one that every part understands. */
export function whatIsWrongWith(origin) {
  const [name, ...permissions] = origin.split(' ');
  if (/\s/.test(origin.replaceAll(' ', '')) || origin !== origin.trim() || origin.includes('  ')) {
    return 'it holds blanks; write the origin, and after one blank "probe" if it is to have that';
  }
  if (permissions.length > 1 || (permissions.length === 1 && permissions[0] !== 'probe')) {
    return `after the origin comes nothing, or "probe"; not "${permissions.join(' ')}"`;
  }
  if (name.includes('*')) return 'it holds a wildcard; name each origin by itself';
  const match = name.match(/^([A-Za-z]+):\/\/([^/?#]*)(.*)$/);
  if (!match) return `it has no scheme; write https://${name}`;
  const [, scheme, hostAndPort, path] = match;
  if (path) return `it goes on after the host; write ${scheme}://${hostAndPort}`;
  if (name !== name.toLowerCase()) return `it holds capitals; write ${name.toLowerCase()}`;
  const [host, port, ...more] = hostAndPort.split(':');
  if (!/^[a-z0-9.-]+$/.test(host) || more.length > 0 || (port !== undefined && !/^\d+$/.test(port))) {
    return 'its host is none; write letters, digits, "-" and ".", and perhaps ":" and a port';
  }
  if (scheme !== 'https' && scheme !== 'http') return `its scheme is ${scheme}; write https://${hostAndPort}`;
  if (scheme === 'http' && !HOST_OF_THIS_COMPUTER.test(host)) {
    return `it is http, which anybody on the network can forge; write https://${hostAndPort}`;
  }
  if (port === (scheme === 'https' ? '443' : '80')) {
    return `browsers leave the default port out; write ${scheme}://${host}`;
  }
  return null;
}

function writeJson(path, value) {
  writeFileSync(path, `${JSON.stringify(value, null, 2)}\n`);
}

/**
 * `origins` for the program and `extensionOrigins` for the extension are the same list unless a
 * test wants them to differ.
 */
export function makeInstallation({out, program, origins, extensionOrigins = origins}) {
  for (const origin of [...origins, ...extensionOrigins]) {
    const wrong = whatIsWrongWith(origin);
    if (wrong) throw new RangeError(`the origin '${origin}' would not work: ${wrong}`);
  }
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
      help: {type: 'boolean'},
    },
  });
  if (values.help) {
    console.log(HELP);
    return;
  }
  if (!values.out || !values.program || !values.origin) {
    throw new RangeError('--out, --program and --origin are needed; --help says more');
  }
  console.log(makeInstallation({...values, origins: values.origin}));
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  try {
    main();
  } catch (error) {
    console.error(`make_installation: ${error.message}`);
    process.exit(2);
  }
}
