'use strict';
// The Node.js binding driving real transactions against the gateway
// simulator that tests/support/with_gateway_sim.py starts. Environment:
// ZELVAN_LIBRARY, ZV_SIM_PORT, ZV_CERT_DIR and ZV_CERT_PASSWORD, and the
// simulators' counter files ZV_SIM_STATS and ZV_LOST_SIM_STATS. The tests
// of one file run in turn, so that counters compared before and after a
// test count that test's exchanges alone.

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { after, describe, it } = require('node:test');
const util = require('node:util');
const zelvan = require('..');

const CARD = '4111111111111111';
const PASSWORD = process.env.ZV_CERT_PASSWORD;
const certificate = (name) => path.join(process.env.ZV_CERT_DIR, name);

describe('transactions against the simulator', () => {
  const open = [];
  after(() => { for (const t of open) t.close(); });

  // A Transaction set up for a purchase of card, with the given password.
  function purchase(card = CARD, password = PASSWORD, port = process.env.ZV_SIM_PORT) {
    const t = new zelvan.Transaction();
    open.push(t);
    return t.setServers('127.0.0.1').setPort(port).setClientId('10000001')
      .setCertificate(certificate('client.p12'), password).setCaFile(certificate('ca.pem'))
      .set('TRANSACTIONTYPE', 'PURCHASE').set('CARDDATA', card).set('CVC2', '123').set('AMOUNT', '12.50');
  }

  // Outcomes, fields and refusals are checked through this binding by the
  // transaction cases (tests/data); these tests check the binding's own types.
  it('gives typed results and errors, from execute and executeAsync, with card-free string forms', async () => {
    for (const result of [purchase().execute(), await purchase().executeAsync()]) {
      assert.ok(result.approved && result.completed && !result.declined && !result.outcomeUnknown);
      assert.deepEqual([result.result, result.responseCode, result.responseText], ['0', '00', 'APPROVED']);
      assert.deepEqual(Object.keys(result.fields).filter((name) => name.startsWith('_')), []);
      for (const text of [String(result), util.inspect(result), JSON.stringify({ result })]) {
        assert.match(text, /approved/);
        assert.doesNotMatch(text, /411111|1111|CARDDATA/);
      }
    }
    await assert.rejects(purchase(CARD, PASSWORD, process.env.ZV_LOST_SIM_PORT).executeAsync(), (failure) =>
      failure instanceof zelvan.OutcomeUnknownError && /^ZS/.test(failure.txnReference)
        && failure.message.includes(failure.txnReference));
    // No text of the binding shows a value it refused, the card data or the password.
    const secrets = [CARD, 'secret', 'not-the-password'];
    const t = purchase();
    assert.throws(() => t.set('ORDERREF', 'secret=1'), (error) => error instanceof TypeError
      && error.code === 'ERR_INVALID_ARG_VALUE' && secrets.every((secret) => !util.inspect(error).includes(secret)));
    assert.throws(() => t.set('AMOUNT', 12.5), { code: 'ERR_INVALID_ARG_TYPE' });
    await assert.rejects(purchase(CARD, 'not-the-password').executeAsync(), (failure) => {
      const shown = [util.inspect(failure), String(failure), JSON.stringify(failure), util.inspect(failure.outcome.fields)].join();
      assert.deepEqual(secrets.filter((secret) => shown.includes(secret)), []);
      return failure instanceof zelvan.TransactionError && failure.message.startsWith('UNABLE TO INITIALISE SSL.');
    });
  });

  // A simulator's counters, from the file that variable names.
  function simStats(variable) {
    const stats = {};
    for (const line of fs.readFileSync(process.env[variable], 'utf8').split('\n')) {
      const [name, value] = line.split('=');
      if (value !== undefined) stats[name] = Number(value);
    }
    return stats;
  }

  // Runs t (with execute or executeAsync) with a handler that keeps its events.
  async function collect(t, run = (tx) => tx.execute()) {
    const events = [];
    t.setEventHandler((event) => events.push(event));
    try {
      return { events, result: await run(t) };
    } catch (failure) {
      if (!(failure instanceof zelvan.TransactionError)) throw failure;
      return { events, result: failure.outcome };
    }
  }

  // Before the parallel purchases, whose sessions leave the next few
  // purchases without one to resume.
  it('reports events that match what the simulator counted, from execute and executeAsync', async () => {
    const before = simStats('ZV_SIM_STATS');
    const all = [];
    for (const run of [(t) => t.execute(), (t) => t.executeAsync(), (t) => t.executeAsync()]) {
      const { events, result } = await collect(purchase(), run);
      assert.ok(result.approved && result.handlerError === null, String(result));
      assert.deepEqual([events[0].type, events[0].address, String(events[0].port)],
        [zelvan.EventType.SERVER_TRIED, '127.0.0.1', process.env.ZV_SIM_PORT]);
      assert.deepEqual([events.at(-1).type, events.at(-1).outcome], [zelvan.EventType.OUTCOME, zelvan.Outcome.APPROVED]);
      all.push(...events);
    }
    const after = simStats('ZV_SIM_STATS');
    const handshakes = all.filter((e) => e.type === zelvan.EventType.HANDSHAKE_DONE);
    const resumed = handshakes.filter((e) => e.resumed).length;
    assert.deepEqual([handshakes.length - resumed, resumed], [after.handshakes_full - before.handshakes_full,
      after.handshakes_resumed - before.handshakes_resumed]);
    assert.ok(resumed > 0);
    assert.ok(handshakes.every((e) => e.tlsVersion.startsWith('TLS') && e.cipher));
    assert.equal(all.filter((e) => e.type === zelvan.EventType.REQUEST_SENT).length, after.messages - before.messages);
    assert.doesNotMatch(JSON.stringify(all), /4111/);

    const lostBefore = simStats('ZV_LOST_SIM_STATS');
    const { events, result } = await collect(purchase(CARD, PASSWORD, process.env.ZV_LOST_SIM_PORT));
    const checks = events.filter((e) => e.type === zelvan.EventType.STATUS_CHECK).map((e) => e.statusCheck);
    assert.equal(checks.length, (simStats('ZV_LOST_SIM_STATS').messages_STATUS ?? 0) - (lostBefore.messages_STATUS ?? 0));
    assert.deepEqual(checks, checks.map((_, i) => i + 1));
    assert.ok(checks.length > 0);
    assert.equal(result.outcome, zelvan.Outcome.UNKNOWN);
    assert.equal(events.at(-1).outcome, zelvan.Outcome.UNKNOWN);

    // A throwing handler loses its events, never the payment, on either thread.
    for (const run of [(t) => t.execute(), (t) => t.executeAsync()]) {
      const t = purchase();
      let calls = 0;
      t.setEventHandler(() => { calls += 1; throw new Error('metrics backend down'); });
      const result = await run(t);
      assert.ok(result.approved);
      assert.equal(calls, 1);
      assert.equal(result.handlerError.message, 'metrics backend down');
      // Flushed, the bundle ends at once in no decision: without a handler, no call.
      t.setEventHandler(null).flush();
      assert.throws(() => t.execute(), (failure) => failure.outcome.handlerError === null);
      assert.equal(calls, 1);
    }
    assert.throws(() => purchase().setEventHandler('not a function'), TypeError);
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

});

describe('a transaction handle', () => {
  it('guards its use while running and after close', async () => {
    const t = new zelvan.Transaction();
    const running = t.executeAsync();
    assert.throws(() => t.set('AMOUNT', '1'), /running/);
    await assert.rejects(running, zelvan.TransactionError);
    t.close();
    t.close();
    assert.throws(() => t.get('AMOUNT'), /closed/);
  });
});
