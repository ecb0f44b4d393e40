#include "clientFailure.h"

#include <cstdio>

#include "BHashTable.h"
#include "debugLog.h"

bool failTransaction(txn* t, const char* logLine, const char* error, const char* detail) {
  if (logLine != nullptr) logDebugMessage(t, logLine);
  t->bundle->put("ERROR", error);
  if (detail != nullptr) t->bundle->put("ERROR_DETAIL", detail);
  t->bundle->put("RESULT", "-1");
  return false;
}

int printErrorLabel(int code) { return printf("Error code: [%d]\n", code); }
