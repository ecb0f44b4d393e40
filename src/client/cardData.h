#ifndef ZELVAN_CARDDATA_H_
#define ZELVAN_CARDDATA_H_

#include "txn.h"

// Keeps card data from outliving the exchange that needed them: after
// every exchange the card number in the bundle is masked and the other
// card fields are overwritten, so that neither get() nor a later message
// or log can show them.

// Masks a card number in place: every character but the first six and the
// last four becomes 'X'. Text of fewer than 13 or more than 20 bytes, and
// text that already holds an 'X', is left as it is (the latter counts as
// masked). Returns the number of characters masked; 0 for a null pan.
int maskPan(char* pan);

// Masks or overwrites field key of the bundle: "CARDDATA" (in any case) is
// masked with maskPan() in the bundle's own text; any other field gets as
// many '*' as it had characters, at most 40. An absent or empty field is
// left alone.
void clearPCISensitiveData(txn* t, const char* key);

// What every exchange does with the card data of the bundle once it is
// over (called by TransactionRecord, the bundle's writer during execute()): clearPCISensitiveData() of CVC2, CARDEXPIRYDATE, then CARDDATA.
void clearCardData(txn* t);

#endif  // ZELVAN_CARDDATA_H_
