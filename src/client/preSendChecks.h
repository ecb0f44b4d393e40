#ifndef ZELVAN_PRESENDCHECKS_H_
#define ZELVAN_PRESENDCHECKS_H_

#include "txn.h"

class BSSLContext;

// The checks an exchange runs once it is connected, before it sends the
// request. Each failure stores ERROR (and for a missing field
// ERROR_DETAIL) and RESULT "-1", logs it, and returns false.

// True when the connected gateway presented a certificate whose subject
// and issuer names can be read (they are not compared with anything; the
// server is verified during the handshake only when _CAFILE is given).
bool validCertificate(txn* t, BSSLContext* ctx);

// True when the bundle holds CLIENTID and TRANSACTIONTYPE (an empty value
// counts as given). When both are missing, only CLIENTID is reported.
bool essentialParametersExist(txn* t);

#endif  // ZELVAN_PRESENDCHECKS_H_
