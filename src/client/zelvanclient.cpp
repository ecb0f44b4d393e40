#include "zelvanclient.h"

#include <cstdlib>
#include <ctime>
#include <mutex>

#include "BHashTable.h"
#include "BMemoryTable.h"
#include "bundleFields.h"
#include "bundleKeys.h"
#include "clientPreparation.h"
#include "debugLog.h"
#include "memTrack.h"
#include "sslPool.h"
#include "txn.h"

bool m_client_inited = false;

namespace {

// Makes init_client() and free_client() one step each when threads call
// them at once (a first transaction of several threads initialises the
// library through initialiseClient()).
std::mutex gClientGuard;

// Initialises the client when the library is loaded, through the same
// init_client() as the application and an exchange that finds the client
// freed; frees it when the library is unloaded, unless the application
// already did.
struct LibraryLifetime {
  LibraryLifetime() { init_client(); }
  ~LibraryLifetime() {
    if (clientInited()) free_client();
  }
};

LibraryLifetime gLibraryLifetime;

const char* orEmpty(const char* s) { return s != nullptr ? s : ""; }

}  // namespace

int init_client(void) {
  std::lock_guard<std::mutex> guard(gClientGuard);
  if (!clientInited()) {
    // The pool exists from initialisation until free_client(), so that the
    // library can be initialised anew after free_client().
    create_ssl_pool();
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
  destroy_ssl_pool();
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
  t->outcome = ZELVAN_OUTCOME_NONE;
  return t;
}

BHashTable* flushBundle(txn* t) {
  if (t == nullptr) return nullptr;
  trackDelete(t->bundle);
  t->bundle = newBundleTable();
  t->outcome = ZELVAN_OUTCOME_NONE;
  return t->bundle;
}

int put(txn* t, const char* name, const char* value) {
  if (t == nullptr || name == nullptr) return 0;
  t->bundle->put(name, value);
  if (sameTextNoCase(name, kDebugKey)) {
    if (sameTextNoCase(value, "ON")) {
      t->debugOn = 1;
    } else {
      t->debugOn = 0;
      closeLogFile(t);
    }
  } else if (sameTextNoCase(name, kLogFileKey)) {
    if (sameTextNoCase(value, "stdout")) {
      if (t->debugLog != nullptr) {
        closeLogFile(t);
        t->debugToStdOut = 1;
      }
    } else if (t->debugOn != 0) {
      // Compatibility: a file is opened only while DEBUG is on, so DEBUG
      // must be put first; applications written for that order keep
      // logging exactly where they did, and a LOGFILE put earlier is only
      // stored.
      openLogFile(t, value);
    }
  }
  return 1;
}

// Compatibility: get() writes nothing to the log, even with DEBUG on:
// applications read fields freely, and the values may be card data.
char* get(txn* t, const char* name) {
  if (t == nullptr) return nullptr;
  if (sameTextNoCase(name, kWholeBundleName)) return wholeBundleText(t);
  return t->bundle->get(name);
}

int zelvanclient_outcome(txn* t) { return t != nullptr ? t->outcome : ZELVAN_OUTCOME_NONE; }

int zelvanclient_set_event_handler(txn* t, zelvan_event_handler handler, void* user) {
  if (t == nullptr) return 0;
  t->eventHandler = handler;
  t->eventUser = handler != nullptr ? user : nullptr;
  return 1;
}

int setPort(txn* t, const char* port) {
  if (t == nullptr) return 0;
  t->bundle->put(kServerPortKey, port);
  logDebugMessage(t, "Server Port Set...");
  return logDebugPrintf(t, "\t Using Port [%s].", orEmpty(port));
}

int put_ClientID(txn* t, const char* clientId) {
  if (t == nullptr) return 0;
  t->bundle->put(kClientIdKey, clientId);
  return logDebugMessage(t, "ClientID Set.");
}

int put_CertificatePath(txn* t, const char* path) {
  if (t == nullptr) return 0;
  t->bundle->put(kCertificatePathKey, path);
  return logDebugMessage(t, "Certificate Path Set.");
}

int put_CertificatePassword(txn* t, const char* password) {
  if (t == nullptr) return 0;
  t->bundle->put(kCertificatePasswordKey, password);
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
    closeLogFile(t);
  }
  trackDelete(t);
}
