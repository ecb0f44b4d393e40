#ifndef ZELVAN_TRANSACTIONEXCHANGE_H_
#define ZELVAN_TRANSACTIONEXCHANGE_H_

#include "txn.h"

class BSSLContext;
class BSocket;
class BString;

// One exchange with the gateway, from the server loop to the clean-up.

// Runs one exchange for a transaction (a txn*): prepares the bundle,
// connects to the first server of the list that accepts a TCP connection
// and a TLS handshake, checks the gateway's certificate, sends the bundle,
// merges the first reply and, when the gateway opened a transaction
// reference (and this is not a status check), sends the bundle again and
// merges the final response. Card data are masked once the exchange has
// reached its clean-up. Returns true when the exchange ran to its end (a
// first reply carrying the gateway's ERROR included), false on every local
// failure; the details are in the bundle.
bool DoTransaction(void* txn);

// Releases what one exchange holds, each step only when its argument is
// present: shuts the TLS connection down (ctx), closes the descriptor
// (fd != -1), deletes the socket object, hands the context back to the
// pool, and finally masks or erases the card data of the bundle (t).
void cleanUpAfterDoTransaction(txn* t, BSSLContext* ctx, int fd, BSocket* socket);

// The same, after deleting response when it is not null.
void cleanUpAfterDoTransaction(txn* t, BSSLContext* ctx, int fd, BSocket* socket,
                               BString* response);

// Closes a socket descriptor. Returns close()'s result.
int closeTheSocket(int fd);

#endif  // ZELVAN_TRANSACTIONEXCHANGE_H_
