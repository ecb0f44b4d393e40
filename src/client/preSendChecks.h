#ifndef ZELVAN_PRESENDCHECKS_H_
#define ZELVAN_PRESENDCHECKS_H_

#include "EngineStatus.h"
#include "txn.h"

class BSSLContext;
struct TransactionRequest;

// The checks an exchange runs once it is connected, before it sends the
// request. Each failure carries ERROR (for a missing field also
// ERROR_DETAIL) and the log line that reports it.

// Ok when the connected gateway presented a certificate whose subject and
// issuer names can be read (they are not compared with anything; the
// server is verified during the handshake only when _CAFILE is given).
// Logs to log's debug log.
EngineStatus validCertificate(BSSLContext* ctx, txn* log);

// Ok when the request holds CLIENTID and TRANSACTIONTYPE (an empty value
// counts as given). When both are missing, only CLIENTID is reported.
EngineStatus essentialParametersExist(const TransactionRequest& request);

#endif  // ZELVAN_PRESENDCHECKS_H_
