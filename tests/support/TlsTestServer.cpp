#include "TlsTestServer.h"

#include <poll.h>
#include <unistd.h>

#include <openssl/err.h>

#include <chrono>
#include <csignal>
#include <stdexcept>

#include "BSSLContext.h"
#include "BSocket.h"
#include "TestCertificates.h"

namespace {

constexpr int kIoTimeoutSeconds = 10;
const unsigned char kSessionContext[] = "zelvan-tests";

void setIoTimeouts(int fd) {
  timeval limit{kIoTimeoutSeconds, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

}  // namespace

TlsTestServer::TlsTestServer(const TestCertificates& certs, Script script, bool requireClientCert,
                             const Configure& configure)
    : m_script(std::move(script)), m_listener("127.0.0.1", true) {
  // A script that writes after the client has gone must fail its write,
  // not end the test program.
  signal(SIGPIPE, SIG_IGN);
  m_ctx = SSL_CTX_new(TLS_server_method());
  if (m_ctx == nullptr ||
      SSL_CTX_use_certificate_file(m_ctx, certs.serverCert().c_str(), SSL_FILETYPE_PEM) != 1 ||
      SSL_CTX_use_PrivateKey_file(m_ctx, certs.serverKey().c_str(), SSL_FILETYPE_PEM) != 1) {
    SSL_CTX_free(m_ctx);
    throw std::runtime_error("test server: cannot load the server certificate");
  }
  // Resumed sessions must belong to this server; OpenSSL also refuses to
  // resume sessions of verified clients without a session context.
  SSL_CTX_set_session_id_context(m_ctx, kSessionContext, sizeof kSessionContext - 1);
  if (requireClientCert) {
    SSL_CTX_load_verify_locations(m_ctx, certs.caCert().c_str(), nullptr);
    SSL_CTX_set_verify(m_ctx, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  if (configure) configure(m_ctx);
  if (!m_listener.ok()) {
    SSL_CTX_free(m_ctx);
    throw std::runtime_error("test server: cannot listen on 127.0.0.1");
  }
  m_thread = std::thread(&TlsTestServer::run, this);
}

TlsTestServer::~TlsTestServer() {
  m_stopping = true;
  m_thread.join();
  SSL_CTX_free(m_ctx);
}

void TlsTestServer::run() {
  while (!m_stopping) {
    pollfd waiting{m_listener.fd(), POLLIN, 0};
    if (poll(&waiting, 1, 50) != 1) continue;
    int fd = accept(m_listener.fd(), nullptr, nullptr);
    if (fd < 0) continue;
    setIoTimeouts(fd);
    serve(fd);
    close(fd);
  }
}

void TlsTestServer::serve(int fd) {
  Connection seen;
  SSL* ssl = SSL_new(m_ctx);
  SSL_set_fd(ssl, fd);
  if (SSL_accept(ssl) == 1) {
    seen.handshake = true;
    seen.resumed = SSL_session_reused(ssl) == 1;
    seen.version = SSL_version(ssl);
    if (m_script) m_script(ssl);
    SSL_shutdown(ssl);
  }
  SSL_free(ssl);
  ERR_clear_error();
  std::lock_guard<std::mutex> lock(m_mutex);
  m_connections.push_back(seen);
  m_served.notify_all();
}

std::vector<TlsTestServer::Connection> TlsTestServer::waitForConnections(size_t n) {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_served.wait_for(lock, std::chrono::seconds(kIoTimeoutSeconds),
                    [&] { return m_connections.size() >= n; });
  return m_connections;
}

bool TlsTestServer::send(SSL* ssl, const std::string& bytes) {
  return SSL_write(ssl, bytes.data(), static_cast<int>(bytes.size())) == static_cast<int>(bytes.size());
}

void TlsTestServer::pauseMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

void TlsTestServer::drain(SSL* ssl) {
  char buffer[256];
  while (SSL_read(ssl, buffer, sizeof buffer) > 0) {
  }
}

bool connectTls(BSSLContext& ctx, BSocket& socket, int port) {
  ctx.setInUse(1);
  SSL* ssl = ctx.getSSLObject();
  if (ssl == nullptr || !socket.connect("127.0.0.1", port, 5000)) return false;
  ctx.setSocket(socket.getSocket());
  ERR_clear_error();
  int result = SSL_connect(ssl);
  socket.setNonBlocking();
  return result > 0;
}

void closeTls(BSSLContext& ctx, BSocket& socket) {
  ctx.ShutdownSSL();
  ctx.setInUse(0);
  socket.close();
}
