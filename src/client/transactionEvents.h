#ifndef ZELVAN_TRANSACTIONEVENTS_H_
#define ZELVAN_TRANSACTIONEVENTS_H_

#include <string>

#include "txn.h"

// The events execute() reports to the application's handler
// (zelvanclient_set_event_handler()). Each call does nothing when t has no
// handler. The texts handed over are valid during the handler's call only,
// and carry no card data, password or field value: server entries,
// address texts, TLS version and cipher names.

// Notes that execute() begins now: elapsed_ms counts from here.
void markExecuteStart(txn* t);

// SERVER_TRIED and CONNECTED: server is the entry as listed, address the
// text of the address tried ("127.0.0.1", "[::1]", or the proxy's).
void emitServerTried(txn* t, const std::string& server, const std::string& address, int port);
void emitConnected(txn* t, const std::string& server, const std::string& address, int port);
void emitHandshakeDone(txn* t, const char* tlsVersion, const char* cipher, bool resumed);
// REQUEST_SENT, REPLY_READ: events with nothing but their type.
void emitEvent(txn* t, int type);
void emitStatusCheck(txn* t, int number);
void emitOutcome(txn* t, int outcome);

#endif  // ZELVAN_TRANSACTIONEVENTS_H_
