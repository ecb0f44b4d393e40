#!/usr/bin/env node
'use strict';
// Runs one purchase through the gateway and prints its outcome.
//
//   purchase.js --server 127.0.0.1 --port 40123 --certificate certs/client.p12 \
//       --password zelvan-test --ca-file certs/ca.pem 4111111111111111 12.50
//
// Exit status: 0 approved, 1 declined, 2 no decision (the error is printed).

const { parseArgs } = require('node:util');
const zelvan = require('..');

async function main() {
  const { values: options, positionals } = parseArgs({
    allowPositionals: true,
    options: {
      server: { type: 'string', multiple: true },
      port: { type: 'string' },
      certificate: { type: 'string' },
      password: { type: 'string', default: '' },
      'ca-file': { type: 'string' },
      'client-id': { type: 'string', default: '10000001' },
      'debug-log': { type: 'string' },
    },
  });
  const [card, amount] = positionals;
  if (!options.server || !options.port || !options.certificate || !card || !amount) {
    console.error('usage: purchase.js --server HOST --port PORT --certificate FILE [--password P]'
      + ' [--ca-file FILE] [--client-id ID] [--debug-log FILE] CARD AMOUNT');
    return 2;
  }

  const t = new zelvan.Transaction();
  try {
    t.setServers(options.server)
      .setPort(options.port)
      .setClientId(options['client-id'])
      .setCertificate(options.certificate, options.password);
    if (options['ca-file']) t.setCaFile(options['ca-file']);
    if (options['debug-log']) t.setDebugLog(options['debug-log']);
    t.set('TRANSACTIONTYPE', 'PURCHASE').set('CARDDATA', card).set('AMOUNT', amount);

    let result;
    try {
      result = await t.executeAsync();
    } catch (failure) {
      if (!(failure instanceof zelvan.TransactionError)) throw failure;
      console.log(`no decision: ${failure.message}`);
      if (failure.outcomeUnknown) console.log(`ask the gateway about reference ${failure.outcome.txnReference}`);
      return 2;
    }
    console.log(`${result.approved ? 'approved' : 'declined'}: ${result.responseText} (response code ${result.responseCode})`);
    console.log(`reference ${result.txnReference}, auth code ${result.authCode}, card ${result.fields.CARDDATA}`);
    return result.approved ? 0 : 1;
  } finally {
    t.close();
  }
}

main().then((status) => { process.exitCode = status; });
