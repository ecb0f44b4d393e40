'use strict';
// Test certificates and the gateway simulator for the binding's tests.
// Environment: ZV_GATEWAY_SIM and ZV_CERTGEN, the programs of the build.

const { spawn, execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const koffi = require('koffi');

const PASSWORD = 'zelvan-test';

// Clients keep SSL sessions in a System V segment keyed by ftok(path, 82)
// of the certificate file; tests remove the segments they caused.
const libc = koffi.load('libc.so.6');
const ftok = libc.func('ftok', 'int', ['const char *', 'int']);
const shmget = libc.func('shmget', 'int', ['int', 'size_t', 'int']);
const shmctl = libc.func('shmctl', 'int', ['int', 'int', 'void *']);

// A certificate set from zelvan-certgen in a temporary directory.
class Certificates {
  constructor() {
    this.dir = fs.mkdtempSync(path.join(os.tmpdir(), 'zv-node-certs-'));
    execFileSync(process.env.ZV_CERTGEN, [this.dir], { stdio: 'ignore' });
    this.ca = this.path('ca.pem');
    this.clientP12 = this.path('client.p12');
  }

  path(name) { return path.join(this.dir, name); }

  close() {
    for (const name of fs.readdirSync(this.dir)) {
      const key = ftok(this.path(name), 82);
      const segment = key === -1 ? -1 : shmget(key, 0, 0);
      if (segment !== -1) shmctl(segment, 0 /* IPC_RMID */, null);
    }
    fs.rmSync(this.dir, { recursive: true, force: true });
  }
}

// Starts zelvan-gateway-sim on a free port of 127.0.0.1; resolves to
// { port, stop() } once it prints its port. stop() resolves to its exit code.
function startSimulator(certs, extraArgs = []) {
  const child = spawn(process.env.ZV_GATEWAY_SIM, [
    '--cert', certs.path('server.pem'), '--key', certs.path('server-key.pem'),
    '--ca', certs.ca, '--port', '0', ...extraArgs], { stdio: ['ignore', 'pipe', 'pipe'] });
  // Copied rather than inherited, so that a simulator outliving a crashed
  // test holds no descriptor that the test runner waits on.
  child.stderr.pipe(process.stderr);
  const exited = new Promise((resolve) => child.on('exit', (code) => resolve(code)));
  const stop = () => { child.kill('SIGTERM'); return exited; };
  return new Promise((resolve, reject) => {
    let out = '';
    const timer = setTimeout(() => { stop(); reject(new Error('the gateway simulator printed no port')); }, 20000);
    child.stdout.on('data', (chunk) => {
      out += chunk;
      const match = /^LISTENING (\d+)\n/.exec(out);
      if (match) {
        clearTimeout(timer);
        resolve({ port: Number(match[1]), stop });
      }
    });
    exited.then((code) => { clearTimeout(timer); reject(new Error(`the gateway simulator exited: ${code}`)); });
  });
}

module.exports = { PASSWORD, Certificates, startSimulator };
