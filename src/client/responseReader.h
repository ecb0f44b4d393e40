#ifndef ZELVAN_RESPONSEREADER_H_
#define ZELVAN_RESPONSEREADER_H_

class BSSLContext;
class BSocket;
class BString;

// The response reader: reads one gateway message from the established SSL
// connection of ctx, whose descriptor belongs to socket (in non-blocking
// mode), up to and including the end marker (kEndMarker). Bytes that
// arrive after the marker in the same read are kept. A marker at the very
// start of the message does not count as its end.
//
// Gives up, returning null, when the connection fails or is closed by the
// peer, after timeoutSeconds (measured in whole seconds, between reads and
// after waits of up to five seconds), or after 5000 reads. The reason is
// written to the debug log only. Returns a new string on success; the
// caller deletes it.
BString* doSSLRead(BSSLContext* ctx, BSocket* socket, int timeoutSeconds);

// The same with a 30-second time-out.
BString* doSSLRead(BSSLContext* ctx, BSocket* socket);

#endif  // ZELVAN_RESPONSEREADER_H_
