#include "sslConnection.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "BSSLContext.h"

int sslConnect(BSSLContext* ctx) {
  ERR_clear_error();
  return SSL_connect(ctx->getSSLObject());
}

int sslWrite(BSSLContext* ctx, const char* data, int length) {
  ERR_clear_error();
  return SSL_write(ctx->getSSLObject(), data, length);
}

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
