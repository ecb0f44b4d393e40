#ifndef ZELVAN_SSLCONNECTION_H_
#define ZELVAN_SSLCONNECTION_H_

#include <string>

class BSSLContext;

// The OpenSSL calls that the transaction engine makes on a context's
// connection, kept beside the rest of the SSL code. Each clears the
// thread's OpenSSL error queue first, so that a failure is reported for
// this call and not for an earlier one.

// Sets up the context's connection for server, a host name, a dotted IPv4
// address or an IPv6 literal (with or without brackets), before
// setSocket(): a host name is sent as the server
// name (SNI); when the context verifies gateways (a CA file is set) and
// checkName is true, the gateway's certificate must also name server (DNS
// names against its subjectAltName DNS entries, or its common name when
// it has none; addresses against its IP entries). Whatever an earlier
// connection of the context set is replaced.
void sslSetPeer(BSSLContext* ctx, const char* server, bool checkName);

// Binds the context's connection to connected descriptor fd (see
// BSSLContext::setSocket()). With offerStoredSession false no session is
// offered, whatever the store holds, so the handshake is a full one; nor
// is one offered to a gateway that refused kResumptionRefusalsBeforePause
// offered sessions in a row, for kResumptionPauseSeconds after the last
// refusal (sslHandshake() keeps the count). gateway names the gateway the
// refusals are counted for ("address:port" of the connection, or the
// server's name and port behind a proxy).
// Returns true when a stored session is offered.
bool sslAttach(BSSLContext* ctx, int fd, const std::string& gateway, bool offerStoredSession);

// How a handshake ended.
enum SslHandshakeOutcome {
  kSslHandshakeCompleted = 0,
  kSslHandshakeFailed,
  kSslHandshakeTimedOut,
};

// Runs the client handshake on the context's connection, bound to the
// connected descriptor fd, for at most timeoutMs milliseconds, and counts
// whether gateway (as for sslAttach()) resumed an offered session.
// Requires fd non-blocking: each wait is a poll bounded by what is left
// of the time allowed (on a blocking descriptor OpenSSL's own reads would
// wait unbounded). Unless the handshake completed, *detail holds why:
// OpenSSL's reason with the verification result when there is one (for
// example "certificate verify failed: unable to get local issuer
// certificate"), the time-out, or a CA file that could not be loaded
// (named by its path).
SslHandshakeOutcome sslHandshake(BSSLContext* ctx, int fd, const std::string& gateway, int timeoutMs,
                                 std::string* detail);

// What a completed handshake on the context's connection agreed: the
// protocol version ("TLSv1.3"), the cipher's name, and whether a stored
// session was resumed. The texts are OpenSSL's own, valid while the
// connection lasts; "" when there is no connection.
struct SslHandshakeSummary {
  const char* version;
  const char* cipher;
  bool resumed;
};
SslHandshakeSummary sslHandshakeSummary(BSSLContext* ctx);

// Under TLS 1.3 a gateway checks the client certificate only after the
// client has finished its handshake, so a refusal arrives as an alert
// after it: on the first read, or before the first write, which then
// fails. Call after a failed read or write on the context's connection
// (fd non-blocking); reads an alert still waiting on the socket. True when
// the connection ended with such an alert from the gateway, with *detail
// as for sslHandshake(); false otherwise.
bool sslRefusedAfterHandshake(BSSLContext* ctx, std::string* detail);

// Writes length bytes of data with a single SSL_write. Returns its result:
// negative on failure.
int sslWrite(BSSLContext* ctx, const char* data, int length);

// Reads up to size bytes into buffer with a single SSL_read and returns
// its result: the number of bytes read, or 0 or less when nothing was.
// In the latter case *sslError holds SSL_get_error's code for this read
// (only this read's failure counts: the error queue is cleared first).
int sslRead(BSSLContext* ctx, char* buffer, int size, int* sslError);

// True when sslError, from sslRead(), only says that no data has arrived
// yet on a non-blocking connection: reading again later may succeed.
bool sslWaitingForData(int sslError);

// The OpenSSL library's version text, for the bundle and the log.
const char* sslLibraryVersion();

// What can be read of the peer's certificate after a handshake.
enum PeerCertificateState {
  kPeerCertificateReadable = 0,
  kPeerCertificateMissing,
  kPeerSubjectUnreadable,
  kPeerIssuerUnreadable,
};

// Checks that the connected peer presented a certificate whose subject
// and issuer names can be rendered. The names are not compared with
// anything.
PeerCertificateState checkPeerCertificate(BSSLContext* ctx);

#endif  // ZELVAN_SSLCONNECTION_H_
