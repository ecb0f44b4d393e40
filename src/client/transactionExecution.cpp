#include <chrono>
#include <thread>

#include "BPlatform.h"
#include "Deadline.h"
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

const char* outcomeName(int outcome) {
  switch (outcome) {
    case ZELVAN_OUTCOME_APPROVED: return "approved";
    case ZELVAN_OUTCOME_DECLINED: return "declined";
    case ZELVAN_OUTCOME_NO_DECISION: return "no decision";
    default: return "unknown";
  }
}

void logSummary(TransactionRecord& record, bool succeeded, int statusChecks, int outcome) {
  // Compatibility: the failure text carries its own line end, so that line
  // ends twice; log scanners match both texts as they stand.
  logDebugMessage(record.log(), succeeded ? "Transaction Succeeded" : "Transaction Failed\r\n");
  record.logField("\tTransaction Reference\t : [%s]", kTxnReferenceKey);
  record.logField("\tResult\t\t\t\t\t : [%s]", kResultKey);
  record.logField("\tAuth Code\t\t\t\t : [%s]", kAuthCodeKey);
  record.logField("\tResponse Text\t\t\t : [%s]", kResponseTextKey);
  record.logField("\tResponse Code\t\t\t : [%s]", kResponseCodeKey);
  record.logField("\tError Message\t\t\t : [%s]", kErrorKey);
  logDebugPrintf(record.log(), "\tStatus Checks\t\t\t : [%d]", statusChecks);
  logDebugPrintf(record.log(), "\tOutcome\t\t\t\t\t : [%s]", outcomeName(outcome));
}

bool finalDecision(const EngineStatus& status, bool opened) {
  int outcome = decideOutcome(factsOf(status, opened));
  return outcome == ZELVAN_OUTCOME_APPROVED || outcome == ZELVAN_OUTCOME_DECLINED;
}

// Whether another status check is to run after `done` checks that brought
// no decision, the next one after a pause of pauseMs: the first
// kStatusChecks always run; later ones only while the pause ends within
// the status window (which a window of 0 never does).
bool checkAgain(int done, const TransactionRequest& request, const Deadline& window, int pauseMs) {
  if (done < kStatusChecks) return true;
  return request.statusWindowMs > 0 && window.remainingMs() > pauseMs;
}

// Asks the gateway for the status of a payment that may have gone through
// until a check brings a final decision: the first check at once, each
// further one after a pause that grows (none with a window of 0). Returns
// the last check's status (status, the exchange's, when none ran); *checks
// counts them. None starts once the payment's time bound has run out.
EngineStatus checkStatus(txn* t, TransactionRecord& record, const TransactionRequest& request,
                         const Deadline& deadline, bool opened, EngineStatus status, int* checks) {
  Deadline window;
  int pauseMs = kStatusFirstPauseMs;
  for (*checks = 0; *checks == 0 || checkAgain(*checks, request, window, pauseMs); ++*checks) {
    if (*checks > 0) {
      if (finalDecision(status, opened) || deadline.expired()) break;
      if (request.statusWindowMs > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(deadline.clamp(pauseMs)));
        pauseMs *= kStatusPauseGrowth;
      }
      if (deadline.expired()) {
        EngineStatus timedOut = EngineStatus::TimedOut(request.timeoutMs, "the wait to check the status again");
        timedOut.setAnswer(status.answer());
        record.record(timedOut);
        return timedOut;
      }
    } else {
      window = Deadline::after(request.statusWindowMs);
    }
    if (deadline.expired()) break;  // the exchange used up the bound
    // Compatibility: TRANSACTIONTYPE stays "STATUS" afterwards; the
    // application sees from it that the answer came from a status check,
    // and sets the type again before reusing the handle.
    record.markStatusCheck();
    logDebugMessage(t, "\tChecking Transaction Status...");
    emitStatusCheck(t, *checks + 1);
    status = DoTransaction(t, deadline);
  }
  return status;
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
  // The bound of the whole execute(), status checks included.
  Deadline deadline = request.hasTimeout && request.settingProblem.empty() ? Deadline::after(request.timeoutMs)
                                                                           : Deadline();
  // The first exchange takes the request just read: nothing has written
  // to the bundle since. Status checks read it again, since they change
  // TRANSACTIONTYPE.
  EngineStatus status = DoTransaction(t, deadline, &request);
  // The gateway holds the transaction once it gave a reference in this
  // execute() (one left from an earlier transaction on the same handle
  // does not count), or when asked about one.
  bool opened = enquiry || status.answer().gaveReference;
  if (opened) t->outcome = ZELVAN_OUTCOME_UNKNOWN;
  bool hasReference = request.hasReference || status.answer().gaveReference;

  // A payment that failed after the gateway opened a reference may still
  // have gone through: ask for its status rather than report a failure.
  // Without a reference there is nothing to ask about.
  int checks = 0;
  if (!status.completed() && request.purchaseOrRefund && hasReference) {
    status = checkStatus(t, record, request, deadline, opened, status, &checks);
  }
  t->outcome = decideOutcome(factsOf(status, opened));
  logDebugMessage(t, "Transaction Execution Finished...");
  if (t->debugOn) logSummary(record, status.completed(), checks, t->outcome);

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
