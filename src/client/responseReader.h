#ifndef ZELVAN_RESPONSEREADER_H_
#define ZELVAN_RESPONSEREADER_H_

#include "Deadline.h"

class BSSLContext;
class BSocket;
class BString;
struct txn;

// The response reader: reads one gateway message from the established SSL
// connection of ctx, whose descriptor belongs to socket (in non-blocking
// mode), up to and including the end marker (kEndMarker). Bytes that
// arrive after the marker in the same read are kept. A marker at the very
// start of the message does not count as its end.
//
// Gives up, returning null, when the connection fails or is closed by the
// peer, after timeoutSeconds (measured in whole seconds, between reads and
// after waits of up to kReadWaitMs each), or after kReadAttempts reads.
// The reason is written to the debug log only: to the log file of log,
// the transaction being read for, when it has one open, otherwise (and
// for a null log) to the transaction-less log. Returns a new string on
// success; the caller deletes it.
//
// deadline, the payment's time bound, ends the read too when it runs out:
// each wait is cut to the time left, so the read ends within a few
// milliseconds of it.
BString* doSSLRead(BSSLContext* ctx, BSocket* socket, int timeoutSeconds, txn* log = nullptr,
                   const Deadline& deadline = Deadline());

#endif  // ZELVAN_RESPONSEREADER_H_
