#ifndef ZELVAN_TRANSACTION_H_
#define ZELVAN_TRANSACTION_H_

// Runs one exchange with the gateway for a transaction (a txn*): prepares
// the bundle, connects to the first server of the list that accepts a TCP
// connection and a TLS handshake, checks the gateway's certificate, sends
// the bundle, merges the first reply and, when the gateway opened a
// transaction reference (and this is not a status check), sends the
// bundle again and merges the final response. Card data are masked once
// the exchange has reached its clean-up. Returns true when the exchange
// ran to its end (a first reply carrying the gateway's ERROR included),
// false on every local failure; the details are in the bundle.
bool DoTransaction(void* txn);

#endif  // ZELVAN_TRANSACTION_H_
