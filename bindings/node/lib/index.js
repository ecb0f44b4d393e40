'use strict';
// Transaction, Result and TransactionError: the Node.js face of
// libzelvanclient. The library is loaded on first use (see library.js).

const util = require('node:util');
const library = require('./library');

let lib = null;

// A Transaction that is dropped without close() still gives its handle
// back when it is garbage-collected.
const unclosed = new FinalizationRegistry(({ native, handle }) => native.cleanup(handle));

// The loaded libzelvanclient, loaded on first use.
function loaded() {
  if (lib === null) lib = library.load();
  return lib;
}

// Checks a name or value for the C library. Fields travel to the gateway as
// "NAME=value" lines with no escaping, so a CR or LF would start a field of
// its own on the wire, and a line with a second "=" is dropped whole by the
// gateway's parser. A NUL would cut the text short without a word. Local
// settings (sent = false: the "_" fields, such as the certificate password)
// never travel and may hold "=". The error names the field, never the value,
// which may be card data or a password.
function checked(text, what, field, sent = true) {
  if (typeof text === 'number' && Number.isInteger(text)) text = String(text);
  if (typeof text !== 'string') {
    const error = new TypeError(`${what} of field ${JSON.stringify(field)} must be a string or an integer`);
    error.code = 'ERR_INVALID_ARG_TYPE';
    throw error;
  }
  const forbidden = sent ? /[\r\n\0=]/ : /[\r\n\0]/;
  let problem = null;
  if (forbidden.test(text)) {
    problem = what === 'name' ? 'a field name holds CR, LF, NUL or "="'
      : `the value of field ${JSON.stringify(field)} holds a character the gateway message cannot carry`;
  } else if (what === 'name' && text === '') {
    problem = 'a field name may not be empty';
  }
  if (problem !== null) {
    const error = new TypeError(problem);
    error.code = 'ERR_INVALID_ARG_VALUE';
    throw error;
  }
  return text;
}

// Fields of a bundle text ("NAME=value" lines ended by CR LF) as an object.
function parseFields(text) {
  const fields = Object.create(null);
  for (const line of text.split('\r\n')) {
    const at = line.indexOf('=');
    if (at >= 0) fields[line.slice(0, at)] = line.slice(at + 1);
  }
  return fields;
}

// The outcome of a transaction: the bundle after execute().
// completed is execute()'s return value (the exchange ran to its end);
// fields holds every field except the local "_" ones, card data already
// masked by the library. The string form carries no card data at all.
class Result {
  constructor(completed, fields) {
    this.completed = Boolean(completed);
    this.fields = fields;
  }

  get result() { return this.fields.RESULT ?? null; }
  get error() { return this.fields.ERROR ?? null; }
  get errorDetail() { return this.fields.ERROR_DETAIL ?? null; }
  get txnReference() { return this.fields.TXNREFERENCE ?? null; }
  get authCode() { return this.fields.AUTHCODE ?? null; }
  get responseCode() { return this.fields.RESPONSECODE ?? null; }
  get responseText() { return this.fields.RESPONSETEXT ?? null; }
  get transactionType() { return this.fields.TRANSACTIONTYPE ?? null; }
  get totalTime() { return this.fields.TOTAL_TIME ?? null; }

  // RESULT "0" alone, after a completed exchange without ERROR.
  get approved() { return this.completed && this.error === null && this.result === '0'; }

  // The gateway decided against the payment: a completed exchange with a
  // RESULT other than "0" or "-1" and no ERROR.
  get declined() {
    return this.completed && this.error === null && this.result !== null && this.result !== '0' && this.result !== '-1';
  }

  // The gateway opened a reference but no final RESULT came: the payment
  // may or may not have gone through. Never repeat it; ask for its status.
  get outcomeUnknown() { return this.txnReference !== null && this.result === '-1'; }

  toString() {
    const state = this.approved ? 'approved' : this.declined ? 'declined'
      : this.outcomeUnknown ? 'outcome unknown' : 'failed';
    return `Result(${state}, result=${this.result}, response=${this.responseText}, ` +
      `error=${this.error}, txnReference=${this.txnReference})`;
  }

  [util.inspect.custom]() { return this.toString(); }

  toJSON() { return this.toString(); }
}

// A transaction that got no decision from the gateway: a failure of the
// library (execute() returned 0: no server, bad certificate, no reply, ...)
// or an error reply of the gateway. error, errorDetail and result are the
// bundle's ERROR, ERROR_DETAIL and RESULT; outcome is the Result, for
// logging and status enquiries (see outcome.outcomeUnknown).
class TransactionError extends Error {
  constructor(outcome) {
    let message = outcome.error ?? 'transaction failed without an ERROR text';
    if (outcome.errorDetail) message += ` (${outcome.errorDetail})`;
    super(message);
    this.name = 'TransactionError';
    this.outcome = outcome;
    this.error = outcome.error;
    this.errorDetail = outcome.errorDetail;
    this.result = outcome.result;
  }

  get outcomeUnknown() { return this.outcome.outcomeUnknown; }
}

// One transaction handle and its bundle of text fields. Call close() when
// done: the handle and its fields (card data and the certificate password
// included) are released then. While executeAsync() runs, every other call
// on the same Transaction throws; different Transactions run in parallel.
class Transaction {
  constructor() {
    this._lib = loaded();
    this._handle = this._lib.newBundle();
    if (!this._handle) throw new Error('newBundle() returned no handle');
    this._busy = false;
    unclosed.register(this, { native: this._lib, handle: this._handle }, this);
  }

  _live() {
    if (this._handle === null) throw new Error('the transaction is closed');
    if (this._busy) throw new Error('the transaction is running');
    return this._handle;
  }

  // Stores field NAME with VALUE (a string or an integer).
  set(name, value) {
    checked(name, 'name', name);
    this._lib.put(this._live(), name, checked(value, 'value', name, !name.startsWith('_')));
    return this;
  }

  // The field's text, or null when the bundle has no such field or it is
  // empty.
  get(name) {
    checked(name, 'name', name);
    if (name.toUpperCase() === 'THEWORKS') throw new TypeError('use fields() for the whole bundle');
    const pointer = this._lib.get(this._live(), name);
    // The text belongs to the bundle: copy it, never free it.
    return pointer ? library.textAt(pointer) : null;
  }

  has(name) { return this.get(name) !== null; }

  // Every field of the bundle; the local "_" fields (certificate path and
  // password, CA file) only with { includeLocal: true }.
  fields({ includeLocal = false } = {}) {
    const pointer = this._lib.get(this._live(), 'THEWORKS');
    if (!pointer) return Object.create(null);
    let text;
    try {
      text = library.textAt(pointer);
    } finally {
      library.free(pointer);
    }
    const every = parseFields(text);
    if (includeLocal) return every;
    for (const name of Object.keys(every)) if (name.startsWith('_')) delete every[name];
    return every;
  }

  // The gateway servers to try in order: an array, or one string separated
  // by commas, semicolons or blanks.
  setServers(servers) {
    const list = Array.isArray(servers) ? servers.join(',') : servers;
    this._lib.setServers(this._live(), checked(list, 'value', 'SERVERS'));
    return this;
  }

  // The gateway's port, the same for every server.
  setPort(port) {
    this._lib.setPort(this._live(), checked(port, 'value', 'SERVERPORT'));
    return this;
  }

  // The merchant's client identifier (CLIENTID).
  setClientId(clientId) {
    this._lib.put_ClientID(this._live(), checked(clientId, 'value', 'CLIENTID'));
    return this;
  }

  // The client certificate file (PKCS#12 or PEM) and, if given, its password.
  setCertificate(path, password) {
    this._lib.put_CertificatePath(this._live(), checked(path, 'value', '_CERTIFICATEPATH', false));
    if (password !== undefined) this.setCertificatePassword(password);
    return this;
  }

  // The client certificate's password; it is neither sent nor logged.
  setCertificatePassword(password) {
    this._lib.put_CertificatePassword(this._live(), checked(password, 'value', '_CERTIFICATEPASSWORD', false));
    return this;
  }

  // The CA file that the gateway's certificate is verified against. Without
  // one the gateway's certificate is not verified.
  setCaFile(path) { return this.set('_CAFILE', path); }

  // Switches the debug log on, to a file path or "stdout"; null switches it off.
  setDebugLog(destination) {
    if (destination === null || destination === undefined) return this.set('DEBUG', 'OFF');
    // DEBUG must be on before LOGFILE is given, or no file is opened.
    return this.set('DEBUG', 'ON').set('LOGFILE', destination);
  }

  // The Result of a finished execute(), or the TransactionError to throw.
  _outcome(completed) {
    const outcome = new Result(completed, this.fields());
    if (!completed || outcome.error !== null) throw new TransactionError(outcome);
    return outcome;
  }

  // Runs the transaction and returns its Result: an approval or a decline
  // (check result.approved). Throws TransactionError when there is no
  // decision. Blocks the thread, event loop included, until the gateway
  // answers or the time-outs pass (5 s per unreachable server, 30 s per
  // awaited reply): servers should use executeAsync().
  execute() {
    return this._outcome(this._lib.execute(this._live()));
  }

  // execute() on a worker thread of libuv's pool, leaving the event loop
  // free; resolves to the Result or rejects with the TransactionError.
  // Up to UV_THREADPOOL_SIZE transactions (4 unless set) run at a time.
  executeAsync() {
    return new Promise((resolve, reject) => {
      const handle = this._live();
      this._busy = true;
      this._lib.execute.async(handle, (failure, completed) => {
        this._busy = false;
        if (failure) {
          reject(failure);
          return;
        }
        try {
          resolve(this._outcome(completed));
        } catch (error) {
          reject(error);
        }
      });
    });
  }

  // Empties the bundle for the next transaction. Every field goes, settings
  // included; the debug log stays as it was.
  flush() {
    this._lib.flushBundle(this._live());
    return this;
  }

  // Destroys the handle and its fields. Later calls do nothing.
  close() {
    if (this._handle === null) return;
    const handle = this._live();
    this._handle = null;
    unclosed.unregister(this);
    this._lib.cleanup(handle);
  }
}

module.exports = {
  Transaction, Result, TransactionError,
  LibraryNotFoundError: library.LibraryNotFoundError,
};
