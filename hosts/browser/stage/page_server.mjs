// Serves the sample page and the library that it uses on 127.0.0.1.

import {readFile} from 'node:fs/promises';
import {createServer} from 'node:http';
import {dirname, extname, join} from 'node:path';
import {fileURLToPath} from 'node:url';

const HOST = join(dirname(fileURLToPath(import.meta.url)), '..');

const TYPES = {
  '.css': 'text/css',
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
};

function fileOf(name) {
  return name === '/launcher.js' ? join(HOST, 'npm', name) : join(HOST, 'page', name);
}

/** `extraPages` maps paths to HTML. Port 0 takes a free one. */
export async function servePages({port = 0, extraPages = {}} = {}) {
  const server = createServer(async (request, response) => {
    const {pathname} = new URL(request.url, 'http://127.0.0.1');
    try {
      if (request.method !== 'GET' || pathname.includes('..')) throw new Error('not served');
      const name = pathname === '/' ? '/index.html' : pathname;
      const content = extraPages[name] ?? (await readFile(fileOf(name)));
      response.writeHead(200, {'content-type': TYPES[extname(name)] ?? 'application/octet-stream'});
      response.end(content);
    } catch {
      response.writeHead(404).end();
    }
  });
  await new Promise((resolve, reject) => {
    server.once('error', reject);
    server.listen(port, '127.0.0.1', resolve);
  });
  return {
    origin: `http://127.0.0.1:${server.address().port}`,
    close: () => {
      server.close();
      server.closeAllConnections();
    },
  };
}
