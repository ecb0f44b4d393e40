#include "sslConnection.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <arpa/inet.h>
#include <poll.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "BSSLContext.h"
#include "Deadline.h"
#include "ServerAddress.h"
#include "errorQueue.h"
#include "policy.h"
#include "processState.h"

namespace {

// Gateways that do not resume. Offering a session costs a copy of the
// store and a longer hello; a gateway that refused several in a row is
// offered none for a while, then one again, so that a gateway that starts
// resuming is noticed. Kept per gateway address and port.
struct ResumptionRecord {
  int refusals = 0;
  std::chrono::steady_clock::time_point pausedUntil{};
};
std::mutex gResumptionMutex;
ZV_PROCESS_STATE std::map<std::string, ResumptionRecord> gResumption;

bool worthOffering(const std::string& gateway) {
  std::lock_guard<std::mutex> guard(gResumptionMutex);
  auto found = gResumption.find(gateway);
  return found == gResumption.end() || found->second.refusals < kResumptionRefusalsBeforePause ||
         std::chrono::steady_clock::now() >= found->second.pausedUntil;
}

void noteResumption(const std::string& gateway, bool resumed) {
  std::lock_guard<std::mutex> guard(gResumptionMutex);
  ResumptionRecord& record = gResumption[gateway];
  if (resumed) {
    record.refusals = 0;
    return;
  }
  if (++record.refusals >= kResumptionRefusalsBeforePause) {
    record.pausedUntil = std::chrono::steady_clock::now() + std::chrono::seconds(kResumptionPauseSeconds);
  }
}

// What the failed handshake on ssl left behind, as one sentence.
std::string handshakeFailure(SSL* ssl, int sslError, int savedErrno) {
  std::string text;
  unsigned long code = ERR_peek_error();
  const char* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
  if (reason != nullptr) {
    text = reason;
  } else if (code != 0) {
    char buffer[256];
    ERR_error_string_n(code, buffer, sizeof buffer);
    text = buffer;
  } else if (sslError == SSL_ERROR_SYSCALL && savedErrno != 0) {
    text = strerror(savedErrno);
  } else {
    text = "the server closed the connection during the handshake";
  }
  long verify = SSL_get_verify_result(ssl);
  if (verify != X509_V_OK) {
    text += ": ";
    text += X509_verify_cert_error_string(verify);
  }
  return text;
}

}  // namespace

void sslSetPeer(BSSLContext* ctx, const char* server, bool checkName) {
  SSL* ssl = ctx->getSSLObject();
  if (ssl == nullptr) return;
  if (server == nullptr) server = "";
  // An IPv6 literal may come in brackets ("[::1]"); the address is what
  // the certificate's IP entries are compared with.
  std::string name = server;
  if (name.size() > 2 && name.front() == '[' && name.back() == ']') name = name.substr(1, name.size() - 2);
  // The address in binary, as the certificate's IP entries hold it. It is
  // handed to OpenSSL as such: its own text parser goes through sscanf,
  // whose cold code costs more than the rest of this function.
  in6_addr binary;
  int family = parseAddressLiteral(name, &binary);
  size_t binaryLength = family == AF_INET ? sizeof(in_addr) : family == AF_INET6 ? sizeof(in6_addr) : 0;
  bool address = binaryLength > 0;
  // Servers are named by host name only; an address or an empty name
  // sends none.
  SSL_set_tlsext_host_name(ssl, address || name.empty() ? nullptr : const_cast<char*>(name.c_str()));
  X509_VERIFY_PARAM* param = SSL_get0_param(ssl);
  X509_VERIFY_PARAM_set1_host(param, nullptr, 0);
  X509_VERIFY_PARAM_set1_ip(param, nullptr, 0);
  if (!checkName || (SSL_get_verify_mode(ssl) & SSL_VERIFY_PEER) == 0) return;
  if (address) {
    X509_VERIFY_PARAM_set1_ip(param, reinterpret_cast<const unsigned char*>(&binary), binaryLength);
  } else {
    X509_VERIFY_PARAM_set1_host(param, name.c_str(), 0);
  }
}

bool sslAttach(BSSLContext* ctx, int fd, const std::string& gateway, bool offerStoredSession) {
  ctx->bindSocket(fd, offerStoredSession && worthOffering(gateway));
  SSL* ssl = ctx->getSSLObject();
  return ssl != nullptr && SSL_get0_session(ssl) != nullptr;
}

SslHandshakeOutcome sslHandshake(BSSLContext* ctx, int fd, const std::string& gateway, int timeoutMs,
                                 std::string* detail) {
  SSL* ssl = ctx->getSSLObject();
  if (ssl == nullptr) {
    *detail = "the connection could not be set up";
    return kSslHandshakeFailed;
  }
  // Without its CA file the gateway cannot be verified: the handshake
  // is not attempted, and the reason names the file (never its content).
  if (const char* unloadable = ctx->caFileUnloadable()) {
    *detail = std::string("the CA file ") + unloadable + " could not be loaded";
    return kSslHandshakeFailed;
  }
  // Its waits share one bound, which (as every Deadline) counts a part of
  // a millisecond left as a whole one: the handshake never times out just
  // before the payment's deadline that its time was taken from.
  Deadline bound = Deadline::after(timeoutMs);
  const bool offered = SSL_get0_session(ssl) != nullptr;
  for (;;) {
    clearErrorQueue();
    errno = 0;
    int result = SSL_connect(ssl);
    if (result == 1) {
      if (offered) noteResumption(gateway, SSL_session_reused(ssl) == 1);
      return kSslHandshakeCompleted;
    }
    int savedErrno = errno;
    int sslError = SSL_get_error(ssl, result);
    short events = sslError == SSL_ERROR_WANT_READ ? POLLIN : sslError == SSL_ERROR_WANT_WRITE ? POLLOUT : 0;
    if (events == 0) {
      if (offered) noteResumption(gateway, false);
      *detail = handshakeFailure(ssl, sslError, savedErrno);
      return kSslHandshakeFailed;
    }
    int ready = 0;
    do {
      if (bound.expired()) break;
      pollfd waiting{fd, events, 0};
      ready = poll(&waiting, 1, bound.clamp(timeoutMs));
    } while (ready == -1 && errno == EINTR);
    if (ready < 0) {
      *detail = strerror(errno);
      return kSslHandshakeFailed;
    }
    if (ready == 0) {
      *detail = "SSL handshake timed out after " + std::to_string(timeoutMs / 1000) + " seconds";
      return kSslHandshakeTimedOut;
    }
  }
}

SslHandshakeSummary sslHandshakeSummary(BSSLContext* ctx) {
  SSL* ssl = ctx != nullptr ? ctx->getSSLObject() : nullptr;
  if (ssl == nullptr) return {"", "", false};
  const char* cipher = SSL_get_cipher_name(ssl);
  return {SSL_get_version(ssl), cipher != nullptr ? cipher : "", SSL_session_reused(ssl) == 1};
}

namespace {

// OpenSSL reports an alert received from the peer as an SSL error whose
// reason is the alert's number past SSL_AD_REASON_OFFSET.
bool alertFromPeerQueued() {
  unsigned long code = ERR_peek_last_error();
  return ERR_GET_LIB(code) == ERR_LIB_SSL && ERR_GET_REASON(code) >= SSL_AD_REASON_OFFSET;
}

}  // namespace

bool sslRefusedAfterHandshake(BSSLContext* ctx, std::string* detail) {
  SSL* ssl = ctx->getSSLObject();
  if (ssl == nullptr || SSL_version(ssl) != TLS1_3_VERSION) return false;
  if (!alertFromPeerQueued()) {
    // A write does not read: when the refusal came before the request was
    // written, the write fails (the gateway has closed) and the alert
    // waits unread on the socket, which is non-blocking by now. One read
    // picks it up; the exchange is being abandoned, so nothing it might
    // consume is missed.
    char ignored[256];
    clearErrorQueue();
    SSL_read(ssl, ignored, sizeof ignored);
    if (!alertFromPeerQueued()) return false;
  }
  *detail = handshakeFailure(ssl, SSL_ERROR_SSL, 0);
  return true;
}

int sslWrite(BSSLContext* ctx, const char* data, int length) {
  clearErrorQueue();
  return SSL_write(ctx->getSSLObject(), data, length);
}

int sslRead(BSSLContext* ctx, char* buffer, int size, int* sslError) {
  SSL* ssl = ctx->getSSLObject();
  clearErrorQueue();
  int ret = SSL_read(ssl, buffer, size);
  if (ret <= 0) *sslError = SSL_get_error(ssl, ret);
  return ret;
}

bool sslWaitingForData(int sslError) { return sslError == SSL_ERROR_WANT_READ; }

const char* sslLibraryVersion() { return OpenSSL_version(OPENSSL_VERSION); }

PeerCertificateState checkPeerCertificate(BSSLContext* ctx) {
  X509* certificate = SSL_get1_peer_certificate(ctx->getSSLObject());
  if (certificate == nullptr) return kPeerCertificateMissing;
  PeerCertificateState state = kPeerCertificateReadable;
  char* subject = X509_NAME_oneline(X509_get_subject_name(certificate), nullptr, 0);
  char* issuer = nullptr;
  if (subject == nullptr) {
    state = kPeerSubjectUnreadable;
  } else {
    issuer = X509_NAME_oneline(X509_get_issuer_name(certificate), nullptr, 0);
    if (issuer == nullptr) state = kPeerIssuerUnreadable;
  }
  OPENSSL_free(subject);
  OPENSSL_free(issuer);
  X509_free(certificate);
  return state;
}
