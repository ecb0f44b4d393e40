#ifndef ZELVAN_BENCH_REFERENCECLIENT_H_
#define ZELVAN_BENCH_REFERENCECLIENT_H_

#include <openssl/ssl.h>

#include <string>

#include "Purchase.h"

// The least a client of the gateway can do with OpenSSL alone: a TLS
// connection (1.2 or 1.3, as the gateway prefers) with the client certificate, a number of requests each with
// its reply read up to the end marker, and a close that keeps the session.
// With no exchange it is what s_time measures; with one, a handshake plus
// one round trip; with two it
// does what a purchase takes (the second request carries the reference of
// the first reply), the floor that the library's own costs stand on.
class ReferenceClient {
 public:
  // Loads target's certificate and key (PKCS#12 when the name ends in
  // .p12, PEM otherwise); with resume set, each
  // connection offers the session of the one before. ok() tells whether
  // the load worked.
  ReferenceClient(const GatewayTarget& target, bool resume);
  ~ReferenceClient();
  ReferenceClient(const ReferenceClient&) = delete;
  ReferenceClient& operator=(const ReferenceClient&) = delete;

  bool ok() const { return m_ctx != nullptr; }

  // One connection carrying `exchanges` requests and their replies (none:
  // the handshake alone, as s_time does). Returns true when every reply arrived whole; *resumed
  // tells whether the handshake resumed.
  bool exchange(const std::string& request, int exchanges, bool* resumed);

 private:
  int connectSocket();

  GatewayTarget m_target;
  bool m_resume;
  SSL_CTX* m_ctx = nullptr;
  SSL_SESSION* m_session = nullptr;
};

#endif  // ZELVAN_BENCH_REFERENCECLIENT_H_
