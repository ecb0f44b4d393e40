#ifndef ZELVAN_TRANSACTIONEXCHANGE_H_
#define ZELVAN_TRANSACTIONEXCHANGE_H_

#include "Deadline.h"
#include "EngineStatus.h"
#include "TransactionRequest.h"
#include "txn.h"

// One exchange with the gateway, from the reading of the request to the
// clean-up.

// Runs one exchange for t: reads the request from the bundle (or takes
// request, read by the caller with nothing written to the bundle since;
// it must outlive the call), prepares
// it, connects to the first server of the list that accepts a TCP
// connection and a TLS handshake, checks the gateway's certificate, sends
// the bundle, merges the first reply and, when the gateway opened a
// transaction reference (and this is not a status check), sends the
// bundle again and merges the final response. A failure is recorded in
// the bundle; card data are masked unless the status keeps them. Returns
// the exchange's status with what the gateway answered; completed() when
// the exchange ran to its end (a first reply carrying the gateway's ERROR
// included).
EngineStatus DoTransaction(txn* t, const Deadline& deadline = Deadline(),
                           const TransactionRequest* request = nullptr);

#endif  // ZELVAN_TRANSACTIONEXCHANGE_H_
