#ifndef ZELVAN_BUNDLEFIELDS_H_
#define ZELVAN_BUNDLEFIELDS_H_

#include "txn.h"

// Small helpers for reading and writing a transaction's bundle.

// True when the bundle holds field key, even with an empty value: a field
// the application put counts as given, whatever its text.
bool hasField(txn* t, const char* key);

// Records a local failure: stores ERROR = error and RESULT = "-1".
void storeFailure(txn* t, const char* error);

// True when a and b hold the same text ignoring case. A null text equals
// nothing, not even another null.
bool sameTextNoCase(const char* a, const char* b);

#endif  // ZELVAN_BUNDLEFIELDS_H_
