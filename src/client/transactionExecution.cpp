#include "BPlatform.h"
#include "EngineStatus.h"
#include "TransactionRecord.h"
#include "TransactionRequest.h"
#include "bundleKeys.h"
#include "debugLog.h"
#include "policy.h"
#include "transactionEvents.h"
#include "transactionExchange.h"
#include "transactionOutcome.h"
#include "txn.h"
#include "zelvanclient.h"

namespace {

void logSummary(TransactionRecord& record, bool succeeded) {
  // Compatibility: the failure text carries its own line end, so that line
  // ends twice; log scanners match both texts as they stand.
  logDebugMessage(record.log(), succeeded ? "Transaction Succeeded" : "Transaction Failed\r\n");
  record.logField("\tTransaction Reference\t : [%s]", kTxnReferenceKey);
  record.logField("\tResult\t\t\t\t\t : [%s]", kResultKey);
  record.logField("\tAuth Code\t\t\t\t : [%s]", kAuthCodeKey);
  record.logField("\tResponse Text\t\t\t : [%s]", kResponseTextKey);
  record.logField("\tResponse Code\t\t\t : [%s]", kResponseCodeKey);
  record.logField("\tError Message\t\t\t : [%s]", kErrorKey);
}

bool run(txn* t, TransactionRecord& record) {
  int64_t start = GetTickCount();
  markExecuteStart(t);
  TransactionRequest request = readRequest(t);
  // The application asks for the status of a transaction by its reference.
  bool enquiry = request.hasReference && request.statusCheck;
  t->outcome = ZELVAN_OUTCOME_NO_DECISION;
  logDebugMessage(t, "Executing Transaction");
  logDebugMessage(t, "\t1st Attempt...");
  EngineStatus status = DoTransaction(t);
  // The gateway holds the transaction once it gave a reference in this
  // execute() (one left from an earlier transaction on the same handle
  // does not count), or when asked about one.
  bool opened = enquiry || status.answer().gaveReference;
  if (opened) t->outcome = ZELVAN_OUTCOME_UNKNOWN;
  bool hasReference = request.hasReference || status.answer().gaveReference;

  // A payment that failed after the gateway opened a reference may still
  // have gone through: ask for its status rather than report a failure.
  if (!status.completed() && request.purchaseOrRefund) {
    for (int pass = 0; pass < kStatusChecks && !status.completed(); pass++) {
      if (!hasReference) continue;
      emitStatusCheck(t, pass + 1);
      // Compatibility: TRANSACTIONTYPE stays "STATUS" afterwards; the
      // application sees from it that the answer came from a status check,
      // and sets the type again before reusing the handle.
      record.markStatusCheck();
      logDebugMessage(t, "\tChecking Transaction Status...");
      status = DoTransaction(t);
    }
  }
  t->outcome = decideOutcome(factsOf(status, opened));
  logDebugMessage(t, "Transaction Execution Finished...");
  if (t->debugOn) logSummary(record, status.completed());

  int64_t total = GetTickCount() - start;
  record.setTotalTime(static_cast<unsigned long>(total));
  if (t->debugOn) {
    logDebugPrintf(t, "\tTotal Execution Time\t : [%lu] seconds ", static_cast<unsigned long>(total / 1000));
    record.logField("\tWire Time\t\t\t\t : %s", kWireTimeKey);
  }
  emitOutcome(t, t->outcome);
  return status.completed();
}

}  // namespace

int execute(txn* t) {
  if (t == nullptr || t->bundle == nullptr) return 0;
  TransactionRecord record(t);
  try {
    return run(t, record) ? 1 : 0;
  } catch (...) {
    // Compatibility: ERROR only, no clean-up of the bundle: see
    // EngineStatus::Exception(). The exchange has released its socket and
    // SSL context on the way out.
    record.record(EngineStatus::Exception());
    // Where the exchange stopped is not known: with any reference in the
    // bundle the payment may have been taken, so it is never to be rerun.
    if (record.holdsReference()) t->outcome = ZELVAN_OUTCOME_UNKNOWN;
    emitOutcome(t, t->outcome);
    return 0;
  }
}
