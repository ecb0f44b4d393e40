#include "GatewayServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace {

// Sessions of this server; a resumed session must come from the same
// context, and OpenSSL refuses to resume verified sessions without one.
const unsigned char kSessionContext[] = "zelvan-gateway-sim";

// Refuses a client whose server name is not the one required (the
// simulator's options are the callback's argument), as load balancers
// that route by name do.
int checkServerName(SSL* ssl, int* alert, void* arg) {
  const auto* options = static_cast<const SimOptions*>(arg);
  const char* name = SSL_get_servername(ssl, TLSEXT_NAMETYPE_host_name);
  if (name != nullptr && options->requireSni == name) return SSL_TLSEXT_ERR_OK;
  *alert = SSL_AD_UNRECOGNIZED_NAME;
  return SSL_TLSEXT_ERR_ALERT_FATAL;
}

std::string openSslReason() {
  char text[256] = "unknown reason";
  unsigned long code = ERR_get_error();
  if (code != 0) ERR_error_string_n(code, text, sizeof(text));
  ERR_clear_error();
  return text;
}

}  // namespace

GatewayServer::GatewayServer(const SimOptions& options) : m_options(options), m_stats(options.statsFile) {}

GatewayServer::~GatewayServer() {
  stop();
  joinFinishedWorkers(true);
  if (m_listener >= 0) close(m_listener);
  SSL_CTX_free(m_tls);
}

bool GatewayServer::start(std::string* error) {
  if (!setUpTls(error)) return false;
  if (!m_options.recordFile.empty() && !m_recorder.open(m_options.recordFile, error)) return false;
  m_context.reset(new ServerContext{m_options, m_tls, m_gateway, m_stats, m_recorder, m_stopping});
  return listen(error);
}

bool GatewayServer::setUpTls(std::string* error) {
  m_tls = SSL_CTX_new(TLS_server_method());
  if (!m_tls) {
    *error = "cannot create the TLS context: " + openSslReason();
    return false;
  }
  // TLS 1.2 and 1.3 as real gateways offer them, or 1.3 alone.
  SSL_CTX_set_min_proto_version(m_tls, m_options.tls13Only ? TLS1_3_VERSION : TLS1_2_VERSION);
  if (!m_options.requireSni.empty()) {
    SSL_CTX_set_tlsext_servername_callback(m_tls, checkServerName);
    SSL_CTX_set_tlsext_servername_arg(m_tls, const_cast<SimOptions*>(&m_options));
  }
  if (SSL_CTX_use_certificate_chain_file(m_tls, m_options.certFile.c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(m_tls, m_options.keyFile.c_str(), SSL_FILETYPE_PEM) != 1 ||
      SSL_CTX_check_private_key(m_tls) != 1) {
    *error = "cannot load " + m_options.certFile + " and " + m_options.keyFile + ": " + openSslReason();
    return false;
  }
  if (!m_options.caFile.empty()) {
    STACK_OF(X509_NAME)* names = SSL_load_client_CA_file(m_options.caFile.c_str());
    if (!names || SSL_CTX_load_verify_locations(m_tls, m_options.caFile.c_str(), nullptr) != 1) {
      sk_X509_NAME_pop_free(names, X509_NAME_free);
      *error = "cannot load the CA file " + m_options.caFile + ": " + openSslReason();
      return false;
    }
    SSL_CTX_set_client_CA_list(m_tls, names);
    SSL_CTX_set_verify(m_tls, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  SSL_CTX_set_session_id_context(m_tls, kSessionContext, sizeof(kSessionContext) - 1);
  // A client that closes without close_notify gets its session thrown out
  // of the cache, as real servers do.
  if (m_options.noResume) {
    SSL_CTX_set_session_cache_mode(m_tls, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_options(m_tls, SSL_OP_NO_TICKET);
  } else {
    SSL_CTX_set_session_cache_mode(m_tls, SSL_SESS_CACHE_SERVER);
    if (m_options.noTickets) SSL_CTX_set_options(m_tls, SSL_OP_NO_TICKET);
  }
  return true;
}

bool GatewayServer::listen(std::string* error) {
  // An IPv4 address ("127.0.0.1") or an IPv6 one, with or without brackets
  // ("::1", "[::1]"), so that clients can be tested over either.
  std::string host = m_options.bindAddress;
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  sockaddr_storage address{};
  socklen_t length = 0;
  auto* v4 = reinterpret_cast<sockaddr_in*>(&address);
  auto* v6 = reinterpret_cast<sockaddr_in6*>(&address);
  if (inet_pton(AF_INET, host.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    v4->sin_port = htons(static_cast<uint16_t>(m_options.port));
    length = sizeof(sockaddr_in);
  } else if (inet_pton(AF_INET6, host.c_str(), &v6->sin6_addr) == 1) {
    v6->sin6_family = AF_INET6;
    v6->sin6_port = htons(static_cast<uint16_t>(m_options.port));
    length = sizeof(sockaddr_in6);
  } else {
    *error = "not an IPv4 or IPv6 address: " + m_options.bindAddress;
    return false;
  }
  m_listener = socket(address.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int on = 1;
  if (m_listener < 0 || setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
      bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::listen(m_listener, 128) != 0 ||
      getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    *error = "cannot listen on " + m_options.bindAddress + ":" + std::to_string(m_options.port) + ": " +
             std::strerror(errno);
    return false;
  }
  m_port = ntohs(address.ss_family == AF_INET6 ? v6->sin6_port : v4->sin_port);
  return true;
}

void GatewayServer::run() {
  long connections = 0;
  const int on = 1;
  while (!m_stopping) {
    joinFinishedWorkers(false);
    pollfd listener{m_listener, POLLIN, 0};
    if (poll(&listener, 1, 50) <= 0) continue;
    int fd = accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      // Out of descriptors: let connections finish rather than spin.
      if (errno == EMFILE || errno == ENFILE) std::this_thread::sleep_for(std::chrono::milliseconds(50));
      continue;
    }
    // Under TLS 1.3 the server writes its session tickets after the
    // handshake and then the reply; with Nagle's algorithm the reply would
    // wait about 40 ms for the client to acknowledge the tickets.
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Worker& worker = m_workers.emplace_back();
    ServerContext& context = *m_context;
    long number = ++connections;
    worker.thread = std::thread([&context, &worker, fd, number] {
      Connection(context, fd, number).run();
      worker.done = true;
    });
  }
  close(m_listener);
  m_listener = -1;
  joinFinishedWorkers(true);
}

void GatewayServer::joinFinishedWorkers(bool all) {
  for (auto it = m_workers.begin(); it != m_workers.end();) {
    if (all || it->done) {
      if (it->thread.joinable()) it->thread.join();
      it = m_workers.erase(it);
    } else {
      ++it;
    }
  }
}
