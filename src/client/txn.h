#ifndef ZELVAN_TXN_H_
#define ZELVAN_TXN_H_

#include <cstdio>

#include "zelvanclient.h"

class BHashTable;

// One transaction handle, as newBundle() makes it. Applications see it only
// as an opaque pointer; a handle is used by one thread at a time.
struct txn {
  // The transaction's fields: BString keys and values, owned.
  BHashTable* bundle;
  // The open debug log file of this transaction, or null. Owned.
  FILE* debugLog;
  // 1 when DEBUG was set to "ON".
  int debugOn;
  // 1 while log lines go to standard output rather than to debugLog.
  int debugToStdOut;
  // The number this transaction's log lines carry: the one drawn when it
  // last opened a log file, or -1 for none (its lines then carry the
  // process's tranId). Its own, so that with several threads each log
  // file shows its own transactions' numbers.
  int tranId = -1;
  // What the last execute() came to: a ZELVAN_OUTCOME_* value, NONE
  // before the first and after flushBundle().
  int outcome = 0;
  // The application's event handler and its pointer, or null: set by
  // zelvanclient_set_event_handler(), kept across flushBundle().
  zelvan_event_handler eventHandler = nullptr;
  void* eventUser = nullptr;
  // When the running execute() began, in milliseconds of the monotonic
  // clock: events count their elapsed_ms from it.
  long long executeStartMs = 0;
};

#endif  // ZELVAN_TXN_H_
