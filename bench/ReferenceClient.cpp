#include "ReferenceClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <openssl/pkcs12.h>
#include <strings.h>

#include "gatewayMessage.h"

namespace {

const char kReference[] = "TXNREFERENCE=";

// Writes message and reads one reply up to the end marker into *reply.
bool roundTrip(SSL* ssl, const std::string& message, std::string* reply) {
  if (SSL_write(ssl, message.data(), static_cast<int>(message.size())) <= 0) return false;
  reply->clear();
  char buffer[1024];
  while (reply->find(kEndMarker) == std::string::npos) {
    int n = SSL_read(ssl, buffer, sizeof buffer);
    if (n <= 0) return false;
    reply->append(buffer, static_cast<size_t>(n));
  }
  return true;
}

// The request again with the reply's reference line put in front.
std::string withReference(const std::string& request, const std::string& reply) {
  size_t at = reply.find(kReference);
  if (at == std::string::npos) return request;
  return reply.substr(at, reply.find("\r\n", at) + 2 - at) + request;
}

bool endsWithP12(const std::string& path) {
  return path.size() >= 4 && strcasecmp(path.c_str() + path.size() - 4, ".p12") == 0;
}

// What an application does with OpenSSL alone to use a PKCS#12 file:
// parse it with the password and hand its certificate, key and chain to
// the context.
bool usePkcs12(SSL_CTX* ctx, const GatewayTarget& target) {
  BIO* file = BIO_new_file(target.certificate.c_str(), "rb");
  PKCS12* p12 = file ? d2i_PKCS12_bio(file, nullptr) : nullptr;
  BIO_free(file);
  X509* cert = nullptr;
  EVP_PKEY* key = nullptr;
  STACK_OF(X509)* chain = nullptr;
  bool ok = p12 != nullptr && PKCS12_parse(p12, target.password.c_str(), &key, &cert, &chain) == 1 &&
            SSL_CTX_use_cert_and_key(ctx, cert, key, chain, 1) == 1;
  X509_free(cert);
  EVP_PKEY_free(key);
  sk_X509_pop_free(chain, X509_free);
  PKCS12_free(p12);
  return ok;
}

bool usePem(SSL_CTX* ctx, const GatewayTarget& target) {
  return SSL_CTX_use_certificate_chain_file(ctx, target.certificate.c_str()) == 1 &&
         SSL_CTX_use_PrivateKey_file(ctx, target.certificate.c_str(), SSL_FILETYPE_PEM) == 1;
}

}  // namespace

ReferenceClient::ReferenceClient(const GatewayTarget& target, bool resume) : m_target(target), m_resume(resume) {
  m_ctx = SSL_CTX_new(TLS_client_method());
  if (m_ctx == nullptr) return;
  // The versions the library allows, so that both negotiate the same one.
  SSL_CTX_set_min_proto_version(m_ctx, TLS1_2_VERSION);
  if (!target.caFile.empty()) {
    SSL_CTX_set_verify(m_ctx, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_load_verify_locations(m_ctx, target.caFile.c_str(), nullptr);
  }
  SSL_CTX_set_default_passwd_cb_userdata(m_ctx, const_cast<char*>(m_target.password.c_str()));
  if (!(endsWithP12(target.certificate) ? usePkcs12(m_ctx, target) : usePem(m_ctx, target))) {
    SSL_CTX_free(m_ctx);
    m_ctx = nullptr;
  }
}

ReferenceClient::~ReferenceClient() {
  SSL_SESSION_free(m_session);
  SSL_CTX_free(m_ctx);
}

int ReferenceClient::connectSocket() {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return -1;
  // As the library does: without it the first request after a resumed
  // handshake waits about 40 ms for the gateway's delayed acknowledgement.
  int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(m_target.port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

bool ReferenceClient::exchange(const std::string& request, int exchanges, bool* resumed) {
  int fd = connectSocket();
  if (fd < 0) return false;
  SSL* ssl = SSL_new(m_ctx);
  SSL_set_fd(ssl, fd);
  if (m_resume && m_session != nullptr) SSL_set_session(ssl, m_session);

  bool ok = SSL_connect(ssl) == 1;
  std::string reply;
  for (int i = 0; ok && i < exchanges; ++i) {
    ok = roundTrip(ssl, i == 0 ? request : withReference(request, reply), &reply);
  }
  *resumed = SSL_session_reused(ssl) == 1;
  // The newest session, as the library keeps: under TLS 1.3 each
  // connection brings new tickets with its replies.
  if (ok && m_resume) {
    SSL_SESSION_free(m_session);
    m_session = SSL_get1_session(ssl);
  }
  // Closed as the library closes: one close_notify, without waiting for
  // the gateway's, so that a gateway caching sessions by ID keeps this one.
  if (SSL_is_init_finished(ssl)) SSL_shutdown(ssl);
  SSL_set_shutdown(ssl, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
  SSL_free(ssl);
  close(fd);
  return ok;
}
