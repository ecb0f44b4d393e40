#ifndef ZELVAN_CLIENTFAILURE_H_
#define ZELVAN_CLIENTFAILURE_H_

#include "txn.h"

// How the client reports that a transaction failed on its side. Every
// local failure goes through failTransaction(), so that applications
// always find it the same way in the bundle.

// Records a local failure: writes logLine to the transaction's debug log
// (nothing when it is null), stores ERROR = error, ERROR_DETAIL = detail
// when detail is not null, and RESULT = "-1". Returns false, so that a
// failed step can end with `return failTransaction(...)`. error must not be
// null.
bool failTransaction(txn* t, const char* logLine, const char* error,
                     const char* detail = nullptr);

// Prints "Error code: [code]" and a newline to standard output. Returns
// printf()'s result. The library never calls it; applications may.
int printErrorLabel(int code);

#endif  // ZELVAN_CLIENTFAILURE_H_
