#include "preSendChecks.h"

#include "BHashTable.h"
#include "bundleFields.h"
#include "debugLog.h"

namespace {

// Fails the check for one missing field.
bool reportMissing(txn* t, const char* logLine, const char* error, const char* detail) {
  logDebugMessage(t, logLine);
  storeFailure(t, error);
  t->bundle->put("ERROR_DETAIL", detail);
  return false;
}

}  // namespace

bool essentialParametersExist(txn* t) {
  if (!hasField(t, "CLIENTID")) {
    return reportMissing(t, "\t\t No Client Id found in Bundle.", "CLIENTID NOT FOUND",
                         "Please ensure that the Client Id is passed into the bundle.");
  }
  if (!hasField(t, "TRANSACTIONTYPE")) {
    return reportMissing(t, "\t\t The Transaction Type has not been set.",
                         "TRANSACTIONTYPE NOT FOUND",
                         "Please ensure that the Transaction Type is passed into the bundle.");
  }
  return true;
}
