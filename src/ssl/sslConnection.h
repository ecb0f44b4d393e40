#ifndef ZELVAN_SSLCONNECTION_H_
#define ZELVAN_SSLCONNECTION_H_

class BSSLContext;

// The OpenSSL calls that the transaction engine makes on a context's
// connection, kept beside the rest of the SSL code. Each clears the
// thread's OpenSSL error queue first, so that a failure is reported for
// this call and not for an earlier one.

// Runs the client handshake (SSL_connect) on the context's connection,
// which must be bound to a connected socket. Returns SSL_connect's result:
// greater than 0 on success.
int sslConnect(BSSLContext* ctx);

// Writes length bytes of data with a single SSL_write. Returns its result:
// negative on failure.
int sslWrite(BSSLContext* ctx, const char* data, int length);

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
