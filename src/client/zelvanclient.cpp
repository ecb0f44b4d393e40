#include "zelvanclient.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "BHashTable.h"
#include "BMemoryTable.h"
#include "BString.h"
#include "bundleFields.h"
#include "clientSetup.h"
#include "debugLog.h"
#include "memTrack.h"
#include "sslPool.h"
#include "txn.h"

bool m_client_inited = false;

namespace {

// The pool's table exists from load until free_client(). init_client()
// makes it again when it is missing, so that the library can be
// initialised anew after free_client().
void createPoolTable() {
  if (m_ssl_contexts == nullptr) m_ssl_contexts = trackNew(new BHashTable(), "ssl context pool");
}

// Makes init_client() and free_client() one step each when threads call
// them at once (a first transaction of several threads initialises the
// library through initialiseClient()).
std::mutex gClientGuard;

void init() { init_client(); }

void fini() {
  if (clientInited()) free_client();
}

// Creates the pool's table and initialises the client when the library is
// loaded; releases both when it is unloaded.
struct LibraryLifetime {
  LibraryLifetime() {
    createPoolTable();
    init();
  }
  ~LibraryLifetime() { fini(); }
};

LibraryLifetime gLibraryLifetime;

BHashTable* newBundleTable() { return trackNew(new BHashTable(), "transaction bundle"); }

// Closes the transaction's log file, if any, and forgets the stream, so
// that a later close (another DEBUG or LOGFILE, or cleanup()) never closes
// it a second time.
void closeLog(txn* t) {
  if (t->debugLog == nullptr) return;
  fclose(t->debugLog);
  t->debugLog = nullptr;
}

// Sends the transaction's log to the file at path, appending. A file that
// was already open is closed rather than left open: the transaction has
// one log file at a time.
void openLog(txn* t, const char* path) {
  FILE* file = path != nullptr ? fopen(path, "a+") : nullptr;
  closeLog(t);
  t->debugLog = file;
  if (file == nullptr) {
    t->debugToStdOut = 1;
    logDebugMessage(t, "Unable to create debugLog file . Writing to stdOut instead.\r\n");
    return;
  }
  setTranId(getTranId());
  t->debugToStdOut = 0;
  logDebugMessage(t, "----------------------------------");
  logDebugMessage(t, "Writing to Logfile.");
  logDebugPrintf(t, "Setting default Log Location to [%s]", path);
  // A path too long for the transaction-less log's name buffer leaves that
  // log where it was rather than splitting it off to a cut-off path; this
  // transaction's own log is the file just opened either way.
  if (!setDefaultLog(path, t->debugOn, t->debugToStdOut)) {
    logDebugPrintf(t, "Default Log Location unchanged: the path is longer than %zu characters.",
                   sizeof theDebugFileName - 1);
    return;
  }
  logDebugPrintf(t, "Default Log Location is [%s]", path);
  logDebugPrintf(t, "isDebugOn=[%d]; isDebugToStdOut=[%d];", t->debugOn, t->debugToStdOut);
}

// The whole bundle as text in a malloc() array, so that applications in
// any language can release it with free().
char* wholeBundleText(txn* t) {
  BString* text = t->bundle->toString();
  if (text == nullptr) return nullptr;
  int n = text->length();
  char* copy = static_cast<char*>(malloc(static_cast<size_t>(n) + 1));
  if (copy != nullptr) {
    if (n > 0) memcpy(copy, text->buffer(), static_cast<size_t>(n));
    copy[n] = '\0';
  }
  trackDelete(text);
  return copy;
}

const char* orEmpty(const char* s) { return s != nullptr ? s : ""; }

}  // namespace

int init_client(void) {
  std::lock_guard<std::mutex> guard(gClientGuard);
  if (!clientInited()) {
    createPoolTable();
    srand(static_cast<unsigned>(time(nullptr)));
    __atomic_store_n(&m_client_inited, true, __ATOMIC_RELEASE);
  }
  return 1;
}

// The application calls free_client() once no transaction runs any more:
// it destroys the pool with every SSL context in it.
int free_client(void) {
  std::lock_guard<std::mutex> guard(gClientGuard);
  if (!clientInited()) return 1;
  // The table owns every key, list and SSL context it holds.
  trackDelete(m_ssl_contexts);
  m_ssl_contexts = nullptr;
  BMemoryTable::free();
  __atomic_store_n(&m_client_inited, false, __ATOMIC_RELEASE);
  return 1;
}

txn* newBundle(void) {
  txn* t = trackNew(new txn(), "transaction handle");
  t->bundle = newBundleTable();
  t->debugLog = nullptr;
  t->debugOn = 0;
  t->debugToStdOut = 1;
  return t;
}

BHashTable* flushBundle(txn* t) {
  if (t == nullptr) return nullptr;
  trackDelete(t->bundle);
  t->bundle = newBundleTable();
  return t->bundle;
}

int put(txn* t, const char* name, const char* value) {
  if (t == nullptr || name == nullptr) return 0;
  t->bundle->put(name, value);
  if (sameTextNoCase(name, "DEBUG")) {
    if (sameTextNoCase(value, "ON")) {
      t->debugOn = 1;
    } else {
      t->debugOn = 0;
      closeLog(t);
    }
  } else if (sameTextNoCase(name, "LOGFILE")) {
    if (sameTextNoCase(value, "stdout")) {
      if (t->debugLog != nullptr) {
        closeLog(t);
        t->debugToStdOut = 1;
      }
    } else if (t->debugOn != 0) {
      openLog(t, value);
    }
  }
  return 1;
}

// get() writes nothing to the log, even with DEBUG on: applications read
// fields freely, and the values may be card data.
char* get(txn* t, const char* name) {
  if (t == nullptr) return nullptr;
  if (sameTextNoCase(name, "THEWORKS")) return wholeBundleText(t);
  return t->bundle->get(name);
}

int setPort(txn* t, const char* port) {
  if (t == nullptr) return 0;
  t->bundle->put("SERVERPORT", port);
  logDebugMessage(t, "Server Port Set...");
  return logDebugPrintf(t, "\t Using Port [%s].", orEmpty(port));
}

int put_ClientID(txn* t, const char* clientId) {
  if (t == nullptr) return 0;
  t->bundle->put("CLIENTID", clientId);
  return logDebugMessage(t, "ClientID Set.");
}

int put_CertificatePath(txn* t, const char* path) {
  if (t == nullptr) return 0;
  t->bundle->put("_CERTIFICATEPATH", path);
  return logDebugMessage(t, "Certificate Path Set.");
}

int put_CertificatePassword(txn* t, const char* password) {
  if (t == nullptr) return 0;
  t->bundle->put("_CERTIFICATEPASSWORD", password);
  return logDebugMessage(t, "Certificate Password Set.");
}

void cleanup(txn* t) {
  if (t == nullptr) return;
  logDebugMessage(t, "Cleaning Up...");
  logDebugMessage(t, "\tDestroying Transaction...");
  if (t->bundle != nullptr) {
    trackDelete(t->bundle);
    t->bundle = nullptr;
    logDebugMessage(t, "\tBundle Destroyed, closing...");
  }
  if (t->debugLog != nullptr) {
    logDebugMessage(t, "\tdebugLog, closing...");
    logDebugMessage(t, "Cleaning Up Completed.");
    closeLog(t);
  }
  trackDelete(t);
}
