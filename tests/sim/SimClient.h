#ifndef ZELVAN_TESTS_SIMCLIENT_H_
#define ZELVAN_TESTS_SIMCLIENT_H_

#include <openssl/ssl.h>

#include <map>
#include <string>
#include <vector>

using Request = std::vector<std::pair<std::string, std::string>>;

// What one read from the simulator brought.
struct SimReply {
  std::string text;
  bool complete = false;  // the end marker arrived
  bool closed = false;    // the simulator closed the connection
  int records = 0;        // successful SSL_read calls
  // The reply's "NAME=value" fields.
  std::map<std::string, std::string> fields() const;
};

// A plain OpenSSL TLS 1.2 client on 127.0.0.1, independent of the library,
// for driving the simulator.
class SimClient {
 public:
  // certFile holds the client certificate and its unencrypted key ("" for
  // none); the server is verified against caFile unless it is "".
  explicit SimClient(const std::string& certFile, const std::string& caFile = "");
  ~SimClient();

  // Connects and handshakes, offering session for resumption when not null.
  bool connect(int port, SSL_SESSION* session = nullptr);
  bool reused() const { return SSL_session_reused(m_ssl) == 1; }
  // The negotiated session; the caller frees it with SSL_SESSION_free.
  SSL_SESSION* session() const { return SSL_get1_session(m_ssl); }

  // Sends the fields as a message with the end marker.
  bool send(const Request& fields);
  // Reads until the end marker, a close, or timeoutMs without data.
  SimReply read(int timeoutMs = 10000);
  // Closes without close_notify, as the library does to keep its session.
  void close();

  // One request and its reply on a new connection.
  static SimReply exchange(int port, const std::string& certFile,
                           const Request& fields);

 protected:
  SSL_CTX* m_ctx;
  SSL* m_ssl = nullptr;
  int m_fd = -1;
};

// Both replies of a two-message transaction.
struct SimTransaction {
  SimReply first;
  SimReply final;
};

// A purchase of 12.50 by client 10000001 with the given card.
Request purchaseRequest(const std::string& card = "4111111111111111");

// Connects and sends request; when the first reply opens a reference,
// sends the request again with its TXNREFERENCE added, as the library
// does, and reads the final response for up to finalTimeoutMs.
SimTransaction runTransaction(SimClient& client, int port, Request request, int finalTimeoutMs = 10000);

#endif  // ZELVAN_TESTS_SIMCLIENT_H_
