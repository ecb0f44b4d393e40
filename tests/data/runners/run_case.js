'use strict';
// Runs one transaction case file through the Node.js binding:
//     node run_case.js CASEFILE
// under run_case_with.py, which starts the simulators, gives the tokens in
// ZV_CASE_* and compares [stats], [sent] and [log]. Prints each difference on
// standard error; exits 1 when there is one. tests/data/README.md
// describes the format.
const fs = require('fs');
const path = require('path');
const { Transaction, TransactionError, OutcomeUnknownError, Outcome } = require('../../../bindings/node');

const sections = {};
let section = null;
for (let line of fs.readFileSync(process.argv[2], 'utf8').split('\n')) {
  line = line.replace(/[ \t\r]+$/, '');
  if (line === '' || line.startsWith('#')) continue;
  if (line.startsWith('[') && line.endsWith(']')) sections[section = line.slice(1, -1)] = [];
  else sections[section].push(line);
}
const env = process.env;
const tokens = { '%CERTS': env.ZV_CASE_CERTS, '%PASSWORD': env.ZV_CASE_PASSWORD, '%LOGFILE': env.ZV_CASE_LOGFILE,
  '%FREEPORT': env.ZV_CASE_FREEPORT, '%CR': '\r', '%LF': '\n', '%EQ': '=' };
const sub = (text) => Object.entries(tokens).reduce((t, [token, value]) => t.split(token).join(value), text);
const lines = (name) => (sections[name] || []).map((line) => {
  const at = line.indexOf('=');
  return at < 0 ? [line, ''] : [line.slice(0, at), line.slice(at + 1)];
});
const failures = [];
const check = (ok, what) => { if (!ok) failures.push(what); };
const SETTERS = { SERVERS: 'setServers', SERVERPORT: 'setPort', CLIENTID: 'setClientId',
  CERTIFICATEPATH: 'setCertificate', CERTIFICATEPASSWORD: 'setCertificatePassword', LOGFILE: 'setDebugLog' };

// Settings, then request fields; false when the binding refused a field itself.
function fill(t, port) {
  tokens['%PORT'] = port;
  for (const [name, value] of lines('settings')) t[SETTERS[name]](sub(value));
  for (let [name, value] of lines('request')) {
    [name, value] = [sub(name), sub(value)];
    try {
      t.set(name, value);
    } catch (error) {
      if (error.code === 'ERR_INVALID_ARG_VALUE') return false;
      throw error;
    }
    check(t.get(name) === value, `put stores what it is given: ${name}`);
  }
  return true;
}

// execute() returns when the gateway decided and throws when it did not.
function execute(t) {
  const decided = [Outcome.APPROVED, Outcome.DECLINED];
  try {
    const result = t.execute();
    check(decided.includes(result.outcome), `execute() returned for ${result.outcome}`);
    return result;
  } catch (error) {
    if (!(error instanceof TransactionError)) throw error;
    check(!decided.includes(error.outcome.outcome), `execute() threw for ${error.outcome.outcome}`);
    check((error instanceof OutcomeUnknownError) === error.outcomeUnknown, 'the wrong error');
    return error.outcome;
  }
}

if (env.ZV_CASE_BEFORE_PORT) {
  const first = new Transaction();
  fill(first, env.ZV_CASE_BEFORE_PORT);
  check(execute(first).completed, '[before]: the first run failed');
  first.close();
  fs.rmSync(tokens['%LOGFILE'], { force: true });
}
const t = new Transaction();
if (!fill(t, env.ZV_CASE_PORT)) {
  check(lines('fields').some(([n, v]) => n === 'ERROR' && v === 'INVALID FIELD'), 'the binding refused a request field');
} else {
  const start = process.hrtime.bigint();
  const result = execute(t);
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  for (const [name, value] of lines('result')) {
    if (name === 'return') check(String(Number(result.completed)) === value, `return: ${Number(result.completed)}`);
    else if (name === 'outcome') check(result.outcome.toUpperCase() === value, `outcome: ${result.outcome}`);
    else if (name === 'seconds-under') check(seconds < Number(value), `took ${seconds.toFixed(1)} s`);
    else check(false, `unknown result line ${name}`);
  }
  for (const [name, value] of lines('fields')) check(t.get(name) === sub(value), `${name}: not the value expected`);
  for (const name of sections.absent || []) check(t.get(name) === null, `${name} is present`);
  for (const [name, pattern] of lines('match')) {
    const value = t.get(name);
    check(value !== null && new RegExp(`^(?:${pattern})$`).test(value), `${name}: does not match ${pattern}`);
  }
}
t.close();
for (const failure of failures) process.stderr.write(`${path.basename(process.argv[2])}: ${failure}\n`);
process.exitCode = failures.length ? 1 : 0;
