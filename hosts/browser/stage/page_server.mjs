// Serves the files of one folder on 127.0.0.1.

import {readFile} from 'node:fs/promises';
import {createServer} from 'node:http';
import {extname, join} from 'node:path';

const TYPES = {
  '.css': 'text/css',
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
};

/** `extraPages` maps paths to HTML. Port 0 takes a free one. */
export async function servePages(folder, {port = 0, extraPages = {}} = {}) {
  const server = createServer(async (request, response) => {
    const {pathname} = new URL(request.url, 'http://127.0.0.1');
    try {
      if (request.method !== 'GET' || pathname.includes('..')) throw new Error('not served');
      const name = pathname === '/' ? '/index.html' : pathname;
      const content = extraPages[name] ?? (await readFile(join(folder, name)));
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
