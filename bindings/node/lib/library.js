'use strict';
// Finds libzelvanclient and declares the C functions that the package calls.

const koffi = require('koffi');
const { HandlerType } = require('./events');

const LIBRARY_VARIABLE = 'ZELVAN_LIBRARY';
const SONAME = 'libzelvanclient.so.1';

class LibraryNotFoundError extends Error {
  constructor(message) {
    super(message);
    this.name = 'LibraryNotFoundError';
  }
}

// The places to load the library from, in the order they are tried: the
// file that $ZELVAN_LIBRARY names (an explicit choice wins, and when it is
// set nothing else is tried), else the dynamic loader's search
// (LD_LIBRARY_PATH and the system's library directories).
function candidates(env = process.env) {
  const named = env[LIBRARY_VARIABLE];
  return named ? [named] : [SONAME, 'libzelvanclient.so'];
}

function declare(lib) {
  const txn = koffi.opaque('zelvan_txn');
  const handle = koffi.pointer(txn);
  return {
    newBundle: lib.func('newBundle', handle, []),
    flushBundle: lib.func('flushBundle', 'void *', [handle]),
    put: lib.func('put', 'int', [handle, 'const char *', 'const char *']),
    // A bare pointer, not a string: "THEWORKS" hands back an array that
    // must be released with free(), so the address has to be kept.
    get: lib.func('get', 'void *', [handle, 'const char *']),
    setPort: lib.func('setPort', 'int', [handle, 'const char *']),
    put_ClientID: lib.func('put_ClientID', 'int', [handle, 'const char *']),
    put_CertificatePath: lib.func('put_CertificatePath', 'int', [handle, 'const char *']),
    put_CertificatePassword: lib.func('put_CertificatePassword', 'int', [handle, 'const char *']),
    setServers: lib.func('setServers', 'void', [handle, 'const char *']),
    execute: lib.func('execute', 'int', [handle]),
    zelvanclient_outcome: lib.func('zelvanclient_outcome', 'int', [handle]),
    zelvanclient_set_event_handler: lib.func('zelvanclient_set_event_handler', 'int',
      [handle, koffi.pointer(HandlerType), 'void *']),
    cleanup: lib.func('cleanup', 'void', [handle]),
  };
}

// Loads the library from the first candidate that loads and declares its
// functions; throws LibraryNotFoundError naming every attempt otherwise.
function load(env = process.env) {
  const reasons = [];
  for (const candidate of candidates(env)) {
    try {
      return declare(koffi.load(candidate));
    } catch (error) {
      reasons.push(`${candidate}: ${error.message}`);
    }
  }
  throw new LibraryNotFoundError(
    `libzelvanclient could not be loaded (set ${LIBRARY_VARIABLE} to its path):\n  ${reasons.join('\n  ')}`);
}

// The library allocates "THEWORKS" texts with malloc(); they go back through
// the process's free() as the dynamic loader resolves it, which is the
// allocator's own when one is preloaded (jemalloc, tcmalloc, a sanitizer)
// rather than the C library's.
let processFree = null;
function free(pointer) {
  if (processFree === null) processFree = koffi.load(null).func('free', 'void', ['void *']);
  processFree(pointer);
}

// The NUL-terminated UTF-8 text at a pointer, copied into a JS string.
function textAt(pointer) {
  return koffi.decode(pointer, 'char', -1);
}

module.exports = { LIBRARY_VARIABLE, LibraryNotFoundError, candidates, load, free, textAt };
