'use strict';
// The Node.js binding driving real transactions against the gateway
// simulator. Environment: ZELVAN_LIBRARY, ZV_GATEWAY_SIM, ZV_CERTGEN.

const assert = require('node:assert/strict');
const { execFile } = require('node:child_process');
const fs = require('node:fs');
const net = require('node:net');
const path = require('node:path');
const { after, before, describe, it } = require('node:test');
const util = require('node:util');
const zelvan = require('..');
const { PASSWORD, Certificates, startSimulator } = require('./simulator');

const CARD = '4111111111111111';

// A port of 127.0.0.1 on which nothing listens.
function closedPort() {
  return new Promise((resolve) => {
    const server = net.createServer().listen(0, '127.0.0.1', () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

describe('transactions against the simulator', () => {
  let certs;
  let sim;
  const open = [];

  before(async () => {
    certs = new Certificates();
    sim = await startSimulator(certs);
  });

  after(async () => {
    for (const t of open) t.close();
    if (sim) assert.equal(await sim.stop(), 0, 'the simulator exited with an error');
    if (certs) certs.close();
  });

  // A Transaction set up for a purchase; settings override the defaults,
  // and a setting of null is left out.
  function purchase(card = CARD, settings = {}) {
    const config = {
      servers: '127.0.0.1', port: sim.port, clientId: '10000001',
      certificate: certs.clientP12, password: PASSWORD, ...settings,
    };
    const t = new zelvan.Transaction();
    open.push(t);
    if (config.servers !== null) t.setServers(config.servers);
    if (config.port !== null) t.setPort(config.port);
    if (config.clientId !== null) t.setClientId(config.clientId);
    t.setCertificate(config.certificate, config.password).setCaFile(certs.ca);
    return t.set('TRANSACTIONTYPE', 'PURCHASE').set('CARDDATA', card)
      .set('CARDEXPIRYDATE', '1230').set('CVC2', '123').set('AMOUNT', '12.50');
  }

  it('approves a purchase, masks card data and keeps them out of the string form', () => {
    const t = purchase();
    const result = t.execute();
    assert.ok(result.approved && result.completed && !result.declined && !result.outcomeUnknown);
    assert.deepEqual([result.result, result.responseCode, result.responseText], ['0', '00', 'APPROVED']);
    assert.match(result.authCode, /^A/);
    assert.match(result.txnReference, /^ZS/);
    assert.equal(result.error, null);
    assert.equal(result.fields.CARDDATA, '411111XXXXXX1111');
    assert.deepEqual([t.get('CARDDATA'), t.get('CVC2'), t.get('CARDEXPIRYDATE')], ['411111XXXXXX1111', '***', '****']);
    assert.deepEqual(Object.keys(result.fields).filter((name) => name.startsWith('_')), []);
    assert.equal(t.fields({ includeLocal: true })._CERTIFICATEPASSWORD, PASSWORD);
    for (const text of [String(result), util.inspect(result), JSON.stringify({ result })]) {
      assert.match(text, /approved/);
      assert.doesNotMatch(text, /411111|1111|CARDDATA/);
    }
  });

  it('returns declines as results, from execute and executeAsync', async () => {
    for (const [card, code, text] of [['4000000000000002', '05', 'DO NOT HONOUR'],
      ['4000000000009995', '51', 'INSUFFICIENT FUNDS']]) {
      for (const result of [purchase(card).execute(), await purchase(card).executeAsync()]) {
        assert.ok(result.completed && result.declined && !result.approved, card);
        assert.deepEqual([result.result, result.responseCode, result.responseText], ['1', code, text]);
      }
    }
  });

  it('throws TransactionError with the bundle texts on local failures', async () => {
    const cases = [
      [{ port: null }, 'UNABLE TO CONNECT - NO PORT SET'],
      [{ servers: '' }, 'UNABLE TO CONNECT - NO SERVER SET'],
      [{ certificate: certs.path('missing.p12') }, 'COULD NOT OPEN CERTIFICATE - INVALID PATH SET'],
      [{ clientId: null }, 'CLIENTID NOT FOUND'],
      [{ port: await closedPort() }, 'UNABLE TO CONNECT - COULD NOT OPEN SOCKET'],
      [{ password: 'wrong' }, 'UNABLE TO INITIALISE SSL.'],
    ];
    for (const [settings, error] of cases) {
      for (const run of [(t) => t.execute(), (t) => t.executeAsync()]) {
        await assert.rejects(async () => run(purchase(CARD, settings)), (failure) => {
          assert.ok(failure instanceof zelvan.TransactionError, String(failure));
          assert.deepEqual([failure.error, failure.result, failure.outcome.completed], [error, '-1', false]);
          assert.ok(failure.message.startsWith(error));
          assert.ok(!failure.outcomeUnknown);
          return true;
        });
      }
    }
  });

  it('refuses text the message cannot carry before anything is sent', () => {
    const t = purchase();
    for (const [name, value] of [['AMOUNT', '1\r\nAMOUNT=1000'], ['AMOUNT', '1\n'], ['AMOUNT', '1\0'],
      ['ORDERREF', 'a=b'], ['AM=OUNT', '1'], ['', '1'], ['AMOUNT\r\n', '1']]) {
      assert.throws(() => t.set(name, value), (error) => error instanceof TypeError
        && error.code === 'ERR_INVALID_ARG_VALUE' && !error.message.includes(value), JSON.stringify([name, value]));
    }
    assert.throws(() => t.set('AMOUNT', 12.5), { code: 'ERR_INVALID_ARG_TYPE' });
    assert.throws(() => t.setServers('127.0.0.1\nevil'), TypeError);
    assert.equal(t.get('AMOUNT'), '12.50');
    // Local fields never travel, so "=" is theirs to hold.
    t.setCertificatePassword(`${PASSWORD}`).set('_NOTE', 'a=b');
    assert.equal(t.get('_NOTE'), 'a=b');
    assert.ok(t.execute().approved);
  });

  it('runs transactions in parallel on the worker pool without blocking the event loop', async () => {
    let ticks = 0;
    const ticker = setInterval(() => { ticks += 1; }, 1);
    const results = await Promise.all(Array.from({ length: 4 }, () => purchase().executeAsync()));
    clearInterval(ticker);
    assert.ok(results.every((result) => result.approved));
    assert.equal(new Set(results.map((result) => result.txnReference)).size, 4);
    assert.ok(ticks > 0, 'the event loop did not run while the transactions did');
  });

  it('runs the example purchase, whose debug log holds no card number', async () => {
    const log = certs.path('debug.log');
    const example = path.join(__dirname, '..', 'examples', 'purchase.js');
    const { stdout } = await util.promisify(execFile)(process.execPath, [example, '--server', '127.0.0.1',
      '--port', String(sim.port), '--certificate', certs.clientP12, '--password', PASSWORD,
      '--ca-file', certs.ca, '--debug-log', log, CARD, '12.50']);
    assert.match(stdout, /approved: APPROVED/);
    assert.match(stdout, /card 411111XXXXXX1111/);
    const text = fs.readFileSync(log, 'utf8');
    assert.match(text, /Transaction Succeeded/);
    assert.ok(!text.includes(CARD) && !text.includes(PASSWORD));
  });
});

describe('a transaction handle', () => {
  it('guards its use while running and after close', async () => {
    const t = new zelvan.Transaction();
    t.setServers(['gw1.example.com', 'gw2.example.com']);
    assert.deepEqual([t.get('SERVER1'), t.get('SERVERCOUNT'), t.get('RESULT')], ['gw2.example.com', '2', null]);
    const running = t.executeAsync();
    assert.throws(() => t.set('AMOUNT', '1'), /running/);
    await assert.rejects(running, zelvan.TransactionError);
    t.flush();
    assert.deepEqual({ ...t.fields({ includeLocal: true }) }, {});
    t.close();
    t.close();
    assert.throws(() => t.get('AMOUNT'), /closed/);
  });

  it('reports a library that cannot be found', () => {
    const { load } = require('../lib/library');
    assert.throws(() => load({ ZELVAN_LIBRARY: '/nonexistent/libzelvanclient.so' }),
      (error) => error instanceof zelvan.LibraryNotFoundError && /ZELVAN_LIBRARY/.test(error.message));
  });
});
