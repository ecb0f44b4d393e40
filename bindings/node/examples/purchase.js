#!/usr/bin/env node
'use strict';
// Runs one purchase through the gateway and prints its outcome.
//
//   ZELVAN_CERT_PASSWORD=zelvan-test purchase.js --server 127.0.0.1 --port 40123 \
//       --certificate certs/client.p12 --ca-file certs/ca.pem 4111111111111111 12.50
//
// The certificate's password comes from the environment variable
// ZELVAN_CERT_PASSWORD, never from the command line, where every user of
// the machine could read it. Exit status as zelvan-txn's: 0 approved,
// 1 declined, 2 no decision (safe to run again), 3 outcome unknown (never
// run it again; ask for the status of the reference), 64 usage.

const { parseArgs } = require('node:util');
const zelvan = require('..');

async function main() {
  const { values: options, positionals } = parseArgs({
    allowPositionals: true,
    options: {
      server: { type: 'string', multiple: true },
      port: { type: 'string' },
      certificate: { type: 'string' },
      'ca-file': { type: 'string' },
      'client-id': { type: 'string', default: '10000001' },
      'debug-log': { type: 'string' },
    },
  });
  const [card, amount] = positionals;
  if (!options.server || !options.port || !options.certificate || !card || !amount) {
    console.error('usage: purchase.js --server HOST --port PORT --certificate FILE'
      + ' [--ca-file FILE] [--client-id ID] [--debug-log FILE] CARD AMOUNT');
    return 64;
  }

  const t = new zelvan.Transaction();
  try {
    t.setServers(options.server)
      .setPort(options.port)
      .setClientId(options['client-id'])
      .setCertificate(options.certificate, process.env.ZELVAN_CERT_PASSWORD ?? '');
    if (options['ca-file']) t.setCaFile(options['ca-file']);
    if (options['debug-log']) t.setDebugLog(options['debug-log']);
    t.set('TRANSACTIONTYPE', 'PURCHASE').set('CARDDATA', card).set('AMOUNT', amount);

    let result;
    try {
      result = await t.executeAsync();
    } catch (failure) {
      if (failure instanceof zelvan.OutcomeUnknownError) {
        console.log(`outcome unknown: ${failure.message}`);
        console.log(`never run it again; ask for the status of reference ${failure.txnReference}`);
        return 3;
      }
      if (!(failure instanceof zelvan.TransactionError)) throw failure;
      console.log(`no decision: ${failure.message}`);
      return 2;
    }
    console.log(`${result.outcome}: ${result.responseText} (response code ${result.responseCode})`);
    console.log(`reference ${result.txnReference}, auth code ${result.authCode}, card ${result.fields.CARDDATA}`);
    return result.outcome === zelvan.Outcome.APPROVED ? 0 : 1;
  } finally {
    t.close();
  }
}

main().then((status) => { process.exitCode = status; });
