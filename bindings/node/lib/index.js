'use strict';
// Transaction, Result, Outcome and the errors: the Node.js face of
// libzelvanclient. The library is loaded on first use (see library.js).

const util = require('node:util');
const library = require('./library');
const { EventType, Hook } = require('./events');

let lib = null;

// A Transaction that is dropped without close() still gives its handle
// back when it is garbage-collected, and then its event callback.
const unclosed = new FinalizationRegistry(({ native, handle, events }) => {
  native.cleanup(handle);
  if (events.hook !== null) events.hook.close();
});

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

// What became of a payment, as the library decides it
// (zelvanclient_outcome); the values are the C API's ZELVAN_OUTCOME_*.
//   APPROVED     the gateway's final decision is an approval.
//   DECLINED     the gateway's final decision is not an approval; nothing
//                was charged.
//   NO_DECISION  the gateway never opened the transaction; nothing was
//                charged, and it is safe to run it again.
//   UNKNOWN      the gateway opened the transaction (txnReference) and no
//                final decision followed: never run it again; ask for its
//                status later.
const Outcome = Object.freeze({ APPROVED: 'approved', DECLINED: 'declined', NO_DECISION: 'no_decision', UNKNOWN: 'unknown' });
const OUTCOME_OF_VALUE = [null, Outcome.APPROVED, Outcome.DECLINED, Outcome.NO_DECISION, Outcome.UNKNOWN];

// The library's value. Any other value (none cannot follow execute()) is
// read as UNKNOWN, the reading that never leads to charging twice.
function outcomeOf(value) { return OUTCOME_OF_VALUE[value] ?? Outcome.UNKNOWN; }

// A card number as the library masks it: 13 to 20 characters without an
// "X" keep their first six and last four, with "X" in between.
function maskCardNumber(number) {
  if (number.length < 13 || number.length > 20 || number.includes('X')) return number;
  return number.slice(0, 6) + 'X'.repeat(number.length - 10) + number.slice(-4);
}

// fields with the card number masked and CVC2 and the expiry date as
// asterisks. The library does so itself after every exchange, but a
// transaction refused before it connects leaves them as they were put.
function hideCardData(fields) {
  for (const name of Object.keys(fields)) {
    const upper = name.toUpperCase();
    if (upper === 'CARDDATA') fields[name] = maskCardNumber(fields[name]);
    else if (upper === 'CVC2' || upper === 'CARDEXPIRYDATE') fields[name] = '*'.repeat(fields[name].length);
  }
  return fields;
}

// The bundle after execute() and its outcome (an Outcome value). completed
// is execute()'s return value (the last exchange ran to its end; it says
// nothing about the payment); fields holds every field except the local
// "_" ones, card data masked. handlerError is what the event handler threw
// during this execute(), or null. The string form carries no card data at
// all.
class Result {
  constructor(completed, fields, outcome, handlerError = null) {
    this.completed = Boolean(completed);
    this.fields = hideCardData(fields);
    this.outcome = outcome;
    this.handlerError = handlerError;
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

  get approved() { return this.outcome === Outcome.APPROVED; }
  get declined() { return this.outcome === Outcome.DECLINED; }
  get outcomeUnknown() { return this.outcome === Outcome.UNKNOWN; }

  toString() {
    return `Result(${this.outcome}, result=${this.result}, response=${this.responseText}, ` +
      `error=${this.error}, txnReference=${this.txnReference})`;
  }

  [util.inspect.custom]() { return this.toString(); }

  toJSON() { return this.toString(); }
}

// A transaction without a decision of the gateway: thrown as itself for
// Outcome.NO_DECISION (nothing was charged; it may be run again) and as
// OutcomeUnknownError for Outcome.UNKNOWN. error, errorDetail, result and
// txnReference are the bundle's ERROR, ERROR_DETAIL, RESULT and
// TXNREFERENCE; outcome is the Result (card data masked), whose own
// outcome is the Outcome.
class TransactionError extends Error {
  constructor(outcome) {
    let message = outcome.error ?? 'transaction failed without an ERROR text';
    if (outcome.errorDetail) message += ` (${outcome.errorDetail})`;
    if (outcome.outcomeUnknown) message += `; outcome unknown: ask for the status of TXNREFERENCE ${outcome.txnReference}`;
    super(message);
    this.name = 'TransactionError';
    this.outcome = outcome;
    this.error = outcome.error;
    this.errorDetail = outcome.errorDetail;
    this.result = outcome.result;
    this.txnReference = outcome.txnReference;
  }

  get outcomeUnknown() { return this.outcome.outcomeUnknown; }
}

// The gateway opened the transaction (txnReference) and no final decision
// followed: the payment may have gone through. Never run it again; ask for
// the status of txnReference later.
class OutcomeUnknownError extends TransactionError {
  constructor(outcome) {
    super(outcome);
    this.name = 'OutcomeUnknownError';
  }
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
    // The event hook, apart from the Transaction so that the finalizer can
    // release it.
    this._events = { hook: null };
    unclosed.register(this, { native: this._lib, handle: this._handle, events: this._events }, this);
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

  // Calls handler(event) for each event of every later execute() or
  // executeAsync(), on the main thread (for executeAsync, the worker waits
  // while it runs); null stops the events. The handler must be quick (its
  // time counts against the transaction) and must not use this Transaction.
  // What it throws never reaches the library nor changes the payment: it
  // stops the events for the rest of that execute, which returns or throws
  // as it would have, with the exception as Result.handlerError.
  setEventHandler(handler) {
    if (handler !== null && typeof handler !== 'function') throw new TypeError('the event handler must be a function or null');
    const handle = this._live();
    const hook = handler === null ? null : new Hook(handler, outcomeOf);
    this._lib.zelvanclient_set_event_handler(handle, hook === null ? null : hook.pointer, null);
    if (this._events.hook !== null) this._events.hook.close();
    this._events.hook = hook;
    return this;
  }

  // The hook of the execute about to run, made ready for it.
  _beginEvents() {
    if (this._events.hook !== null) this._events.hook.begin();
    return this._events.hook;
  }

  // The Result of a finished execute(), or the error to throw.
  _outcome(completed, hook) {
    const handle = this._live();
    const result = new Result(completed, this.fields(), outcomeOf(this._lib.zelvanclient_outcome(handle)),
      hook === null ? null : hook.error);
    if (result.outcome === Outcome.UNKNOWN) throw new OutcomeUnknownError(result);
    if (result.outcome === Outcome.NO_DECISION) throw new TransactionError(result);
    return result;
  }

  // Runs the transaction and returns its Result when the gateway decided:
  // result.outcome is Outcome.APPROVED or Outcome.DECLINED. Throws
  // TransactionError for Outcome.NO_DECISION (safe to run again) and
  // OutcomeUnknownError for Outcome.UNKNOWN (never run it again; ask for
  // the status of its txnReference). Blocks the thread, event loop included, until the gateway
  // answers or the time-outs pass (5 s per unreachable server, 30 s per
  // awaited reply): servers should use executeAsync().
  execute() {
    const handle = this._live();
    const hook = this._beginEvents();
    return this._outcome(this._lib.execute(handle), hook);
  }

  // execute() on a worker thread of libuv's pool, leaving the event loop
  // free; resolves to the Result or rejects with the TransactionError.
  // Up to UV_THREADPOOL_SIZE transactions (4 unless set) run at a time.
  executeAsync() {
    return new Promise((resolve, reject) => {
      const handle = this._live();
      const hook = this._beginEvents();
      this._busy = true;
      this._lib.execute.async(handle, (failure, completed) => {
        this._busy = false;
        if (failure) {
          reject(failure);
          return;
        }
        try {
          resolve(this._outcome(completed, hook));
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
    if (this._events.hook !== null) this._events.hook.close();
    this._events.hook = null;
  }
}

module.exports = {
  Transaction, Result, Outcome, EventType, TransactionError, OutcomeUnknownError,
  LibraryNotFoundError: library.LibraryNotFoundError,
};
