#ifndef ZELVAN_BUNDLEFIELDS_H_
#define ZELVAN_BUNDLEFIELDS_H_

#include "txn.h"

class BHashTable;

// Helpers of the C API for a transaction's bundle. While execute() runs,
// the bundle is read through TransactionRequest and written through
// TransactionRecord only.

// A new empty bundle, reported to the allocation tracker. The caller owns
// it.
BHashTable* newBundleTable();

// The whole bundle as text, every field included, in an array from
// malloc(), so that applications in any language can release it with
// free(); null when the bundle yields no text.
char* wholeBundleText(txn* t);

// True when a and b hold the same text ignoring case. A null text equals
// nothing, not even another null.
bool sameTextNoCase(const char* a, const char* b);

#endif  // ZELVAN_BUNDLEFIELDS_H_
