#ifndef ZELVAN_PRESENDCHECKS_H_
#define ZELVAN_PRESENDCHECKS_H_

#include "txn.h"

// Checks that an exchange runs before it sends a message to the gateway.

// True when the bundle holds CLIENTID and TRANSACTIONTYPE (an empty value
// counts as given). Otherwise stores ERROR, ERROR_DETAIL and RESULT "-1"
// for the first one missing, logs it, and returns false.
bool essentialParametersExist(txn* t);

#endif  // ZELVAN_PRESENDCHECKS_H_
