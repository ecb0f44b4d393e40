#ifndef ZELVAN_PRESENDCHECKS_H_
#define ZELVAN_PRESENDCHECKS_H_

#include "txn.h"

class BSSLContext;
class BSocket;
class BString;

// Checks that an exchange runs around the sending of a message to the
// gateway, and the release of what the exchange holds.

// True when the connected gateway presented a certificate whose subject
// and issuer names can be read (they are not compared with anything; the
// server is verified during the handshake only when _CAFILE is given).
// Otherwise stores ERROR and RESULT "-1", logs it, and returns false.
bool validCertificate(txn* t, BSSLContext* ctx);

// True when the bundle holds CLIENTID and TRANSACTIONTYPE (an empty value
// counts as given). Otherwise stores ERROR, ERROR_DETAIL and RESULT "-1"
// for the first one missing, logs it, and returns false.
bool essentialParametersExist(txn* t);

// Releases what one exchange holds, each step only when its argument is
// present: shuts the TLS connection down without an alert (ctx), closes
// the descriptor (fd != -1), deletes the socket object, hands the context
// back to the pool, and finally masks or erases the card data of the
// bundle (CVC2, CARDEXPIRYDATE, then CARDDATA).
void cleanUpAfterDoTransaction(txn* t, BSSLContext* ctx, int fd, BSocket* socket);

// The same, after deleting response when it is not null.
void cleanUpAfterDoTransaction(txn* t, BSSLContext* ctx, int fd, BSocket* socket,
                               BString* response);

#endif  // ZELVAN_PRESENDCHECKS_H_
