'use strict';
// Runs one transaction through the Node.js binding for run_case_with.py:
//     node run_case.js [S|R|F NAME VALUE]...
// S gives a setting, R puts a request field, F names a field to report after
// execute(). Prints what it saw as one JSON document; run_case_with.py
// compares it with the case.
const { Transaction, TransactionError, OutcomeUnknownError } = require('../../../bindings/node');

const SETTERS = { SERVERS: 'setServers', SERVERPORT: 'setPort', CLIENTID: 'setClientId',
  CERTIFICATEPATH: 'setCertificate', CERTIFICATEPASSWORD: 'setCertificatePassword', LOGFILE: 'setDebugLog' };
const words = process.argv.slice(2);
const report = { refused: false, not_stored: [], fields: {} };
const t = new Transaction();
for (let i = 0; i < words.length && !report.refused; i += 3) {
  const [kind, name, value] = words.slice(i, i + 3);
  if (kind === 'S') {
    t[SETTERS[name]](value);
  } else if (kind === 'R') {
    try {
      t.set(name, value);
      if (t.get(name) !== value) report.not_stored.push(name);
    } catch (error) {
      if (error.code !== 'ERR_INVALID_ARG_VALUE') throw error;
      report.refused = true;
    }
  }
}
if (!report.refused) {
  const start = process.hrtime.bigint();
  let result;
  try {
    result = t.execute();
    report.raised = null;
  } catch (error) {
    if (!(error instanceof TransactionError)) throw error;
    result = error.outcome;
    report.raised = error instanceof OutcomeUnknownError ? 'unknown' : 'error';
  }
  report.seconds = Number(process.hrtime.bigint() - start) / 1e9;
  Object.assign(report, { outcome: result.outcome, completed: result.completed });
  for (let i = 0; i < words.length; i += 3) if (words[i] === 'F') report.fields[words[i + 1]] = t.get(words[i + 1]);
}
t.close();
process.stdout.write(JSON.stringify(report));
