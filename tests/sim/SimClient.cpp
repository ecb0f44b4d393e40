#include "SimClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

std::map<std::string, std::string> SimReply::fields() const {
  std::map<std::string, std::string> result;
  size_t start = 0, end;
  while ((end = text.find("\r\n", start)) != std::string::npos) {
    std::string line = text.substr(start, end - start);
    size_t equals = line.find('=');
    if (equals != std::string::npos) result[line.substr(0, equals)] = line.substr(equals + 1);
    start = end + 2;
  }
  return result;
}

SimClient::SimClient(const std::string& certFile, const std::string& caFile) : m_ctx(SSL_CTX_new(TLS_client_method())) {
  SSL_CTX_set_min_proto_version(m_ctx, TLS1_2_VERSION);
  SSL_CTX_set_max_proto_version(m_ctx, TLS1_2_VERSION);
  SSL_CTX_set_options(m_ctx, SSL_OP_IGNORE_UNEXPECTED_EOF);
  if (!certFile.empty()) {
    SSL_CTX_use_certificate_file(m_ctx, certFile.c_str(), SSL_FILETYPE_PEM);
    SSL_CTX_use_PrivateKey_file(m_ctx, certFile.c_str(), SSL_FILETYPE_PEM);
  }
  if (!caFile.empty()) {
    SSL_CTX_load_verify_locations(m_ctx, caFile.c_str(), nullptr);
    SSL_CTX_set_verify(m_ctx, SSL_VERIFY_PEER, nullptr);
  }
}

SimClient::~SimClient() {
  close();
  SSL_CTX_free(m_ctx);
}

bool SimClient::connect(int port, SSL_SESSION* session) {
  close();
  m_fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) return false;
  timeval timeout{10, 0};  // no handshake may hang a test
  setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
  m_ssl = SSL_new(m_ctx);
  SSL_set_fd(m_ssl, m_fd);
  if (session) SSL_set_session(m_ssl, session);
  return SSL_connect(m_ssl) == 1;
}

bool SimClient::send(const Request& fields) {
  std::string text;
  for (const auto& [name, value] : fields) text += name + "=" + value + "\r\n";
  text += "\r\nEND\r\n\r\n";
  return SSL_write(m_ssl, text.data(), static_cast<int>(text.size())) == static_cast<int>(text.size());
}

SimReply SimClient::read(int timeoutMs) {
  timeval timeout{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
  setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
  SimReply reply;
  char buffer[1024];
  while (!reply.complete) {
    int count = SSL_read(m_ssl, buffer, sizeof(buffer));
    if (count <= 0) {
      int reason = SSL_get_error(m_ssl, count);
      reply.closed = reason == SSL_ERROR_ZERO_RETURN || reason == SSL_ERROR_SYSCALL || reason == SSL_ERROR_SSL;
      break;
    }
    ++reply.records;
    reply.text.append(buffer, static_cast<size_t>(count));
    reply.complete = reply.text.find("\r\nEND\r\n\r\n") != std::string::npos;
  }
  return reply;
}

void SimClient::close() {
  if (m_ssl) {
    SSL_set_shutdown(m_ssl, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
    SSL_free(m_ssl);
    m_ssl = nullptr;
  }
  if (m_fd >= 0) ::close(m_fd);
  m_fd = -1;
}

SimReply SimClient::exchange(int port, const std::string& certFile,
                             const Request& fields) {
  SimClient client(certFile);
  SimReply reply;
  if (client.connect(port) && client.send(fields)) reply = client.read();
  return reply;
}

Request purchaseRequest(const std::string& card) {
  return {{"CLIENTID", "10000001"}, {"TRANSACTIONTYPE", "PURCHASE"}, {"CARDDATA", card}, {"AMOUNT", "12.50"}};
}

SimTransaction runTransaction(SimClient& client, int port, Request request, int finalTimeoutMs) {
  SimTransaction result;
  if (!client.connect(port) || !client.send(request)) return result;
  result.first = client.read();
  std::string reference = result.first.fields()["TXNREFERENCE"];
  request.emplace_back("TXNREFERENCE", reference);
  if (!reference.empty() && client.send(request)) result.final = client.read(finalTimeoutMs);
  return result;
}
