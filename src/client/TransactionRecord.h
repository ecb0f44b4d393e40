#ifndef ZELVAN_TRANSACTIONRECORD_H_
#define ZELVAN_TRANSACTIONRECORD_H_

#include <string>

#include "EngineStatus.h"
#include "txn.h"

class BString;

// The one writer of a transaction's bundle while execute() runs: the
// steps of the engine read their request (TransactionRequest) and hand
// everything the application is to find in the bundle to this class.
// It also writes the debug log of the transaction it records. Does not
// own t.
class TransactionRecord {
 public:
  explicit TransactionRecord(txn* t) : t_(t) {}

  // The transaction whose debug log the steps write to.
  txn* log() const { return t_; }

  // Writes a failed status: its log line (if any), then ERROR,
  // ERROR_DETAIL when it has one, and RESULT "-1" unless it is an
  // exception. An ok status writes nothing.
  void record(const EngineStatus& status);

  // True when the bundle holds TXNREFERENCE: what execute() goes by when
  // an exception leaves it nothing else to know.
  bool holdsReference() const;

  // Removes ERROR, ERROR_DETAIL and RESULT, once a server is connected:
  // an earlier failure is no longer the outcome.
  void clearPreviousOutcome();

  // SERVER = the server being tried (it is sent with the request).
  void setServer(const std::string& server);

  // ZELVANCLIENTTYPE and ZELVANCLIENTVERSION when addType, and the OpenSSL
  // version text in every case.
  void addClientIdentity(bool addType);

  // The message to send: the bundle's text form without the "_" fields,
  // then the end marker. The caller deletes the result.
  BString* message() const;

  // Merges a gateway message into the bundle (see mergeReply()) and notes
  // in *answer what it said.
  void mergeReply(const char* text, GatewayAnswer* answer);

  // Masks or overwrites the card data, as after every exchange.
  void maskCardData();

  // TRANSACTIONTYPE = "STATUS", before a status check.
  void markStatusCheck();

  // TIMINGS, NUM_SSL_OBJECTS, TOTAL_TIME.
  void setTimings(const char* text);
  void setSslObjects(const char* text);
  void setTotalTime(unsigned long milliseconds);

  // Logs a line made of format and the value of field key, or "(null)"
  // when the bundle has none: the summary execute() writes.
  void logField(const char* format, const char* key);

 private:
  txn* t_;
};

#endif  // ZELVAN_TRANSACTIONRECORD_H_
