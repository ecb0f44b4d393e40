#include <cstdio>
#include <string>

#include "BHashTable.h"
#include "BPlatform.h"
#include "bundleFields.h"
#include "debugLog.h"
#include "policy.h"
#include "transactionExchange.h"
#include "transactionOutcome.h"
#include "txn.h"
#include "zelvanclient.h"

namespace {

// Summary lines of an absent field show this in place of its value.
const char kAbsent[] = "(null)";

const char* fieldOrPlaceholder(txn* t, const char* name) {
  const char* value = t->bundle->get(name);
  return value ? value : kAbsent;
}

bool isPurchaseOrRefund(txn* t) {
  const char* type = t->bundle->get("TRANSACTIONTYPE");
  return sameTextNoCase(type, "PURCHASE") || sameTextNoCase(type, "REFUND");
}

void logSummary(txn* t, bool succeeded) {
  // Compatibility: the failure text carries its own line end, so that line
  // ends twice; log scanners match both texts as they stand.
  logDebugMessage(t, succeeded ? "Transaction Succeeded" : "Transaction Failed\r\n");
  logDebugPrintf(t, "\tTransaction Reference\t : [%s]", fieldOrPlaceholder(t, "TXNREFERENCE"));
  logDebugPrintf(t, "\tResult\t\t\t\t\t : [%s]", fieldOrPlaceholder(t, "RESULT"));
  logDebugPrintf(t, "\tAuth Code\t\t\t\t : [%s]", fieldOrPlaceholder(t, "AUTHCODE"));
  logDebugPrintf(t, "\tResponse Text\t\t\t : [%s]", fieldOrPlaceholder(t, "RESPONSETEXT"));
  logDebugPrintf(t, "\tResponse Code\t\t\t : [%s]", fieldOrPlaceholder(t, "RESPONSECODE"));
  logDebugPrintf(t, "\tError Message\t\t\t : [%s]", fieldOrPlaceholder(t, "ERROR"));
}

// Whether the gateway holds this transaction: the application asks for a
// status by reference, or the gateway gave a reference that was not in the
// bundle before (a reference left from an earlier transaction on the same
// handle does not count).
bool gatewayOpened(txn* t, bool enquiry, const std::string& referenceBefore, bool hadReference) {
  const char* reference = t->bundle->get("TXNREFERENCE");
  if (reference == nullptr) return false;
  return enquiry || !hadReference || referenceBefore != reference;
}

int outcomeOf(txn* t, bool completed, bool opened) {
  const char* result = t->bundle->get("RESULT");
  ExecutionFacts facts = {completed, opened, hasField(t, "ERROR"), result != nullptr,
                          result != nullptr && std::string(result) == "0"};
  return decideOutcome(facts);
}

bool run(txn* t) {
  int64_t start = GetTickCount();
  const char* before = t->bundle->get("TXNREFERENCE");
  bool hadReference = before != nullptr;
  std::string referenceBefore = hadReference ? before : "";
  bool enquiry = hadReference && sameTextNoCase(t->bundle->get("TRANSACTIONTYPE"), "STATUS");
  t->outcome = ZELVAN_OUTCOME_NO_DECISION;
  logDebugMessage(t, "Executing Transaction");
  logDebugMessage(t, "\t1st Attempt...");
  bool result = DoTransaction(t);
  bool opened = gatewayOpened(t, enquiry, referenceBefore, hadReference);
  if (opened) t->outcome = ZELVAN_OUTCOME_UNKNOWN;

  // A payment that failed after the gateway opened a reference may still
  // have gone through: ask for its status rather than report a failure.
  if (!result && isPurchaseOrRefund(t)) {
    for (int pass = 0; pass < kStatusChecks && !result; pass++) {
      if (!hasField(t, "TXNREFERENCE")) continue;
      // Compatibility: TRANSACTIONTYPE stays "STATUS" afterwards; the
      // application sees from it that the answer came from a status check,
      // and sets the type again before reusing the handle.
      t->bundle->put("TRANSACTIONTYPE", "STATUS");
      logDebugMessage(t, "\tChecking Transaction Status...");
      result = DoTransaction(t);
    }
  }
  t->outcome = outcomeOf(t, result, opened);
  logDebugMessage(t, "Transaction Execution Finished...");
  if (t->debugOn) logSummary(t, result);

  int64_t total = GetTickCount() - start;
  char text[32];
  snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(total));
  t->bundle->put("TOTAL_TIME", static_cast<const char*>(text));
  if (t->debugOn) {
    logDebugPrintf(t, "\tTotal Execution Time\t : [%lu] seconds ", static_cast<unsigned long>(total / 1000));
    logDebugPrintf(t, "\tWire Time\t\t\t\t : %s", fieldOrPlaceholder(t, "WIRE_TIME"));
  }
  return result;
}

}  // namespace

int execute(txn* t) {
  if (t == nullptr || t->bundle == nullptr) return 0;
  try {
    return run(t) ? 1 : 0;
  } catch (...) {
    // Compatibility: ERROR only, with RESULT as the exchange left it and no
    // clean-up; applications that read RESULT see the last gateway answer.
    t->bundle->put("ERROR", "Unknown exception during transaction execution.");
    // Where the exchange stopped is not known: with any reference in the
    // bundle the payment may have been taken, so it is never to be rerun.
    if (hasField(t, "TXNREFERENCE")) t->outcome = ZELVAN_OUTCOME_UNKNOWN;
    return 0;
  }
}
