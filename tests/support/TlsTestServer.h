#ifndef ZELVAN_TESTS_TLSTESTSERVER_H_
#define ZELVAN_TESTS_TLSTESTSERVER_H_

#include <openssl/ssl.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "RawListener.h"

class BSSLContext;
class BSocket;
class TestCertificates;

// A TLS server on an ephemeral port of 127.0.0.1, run on a thread of the
// test process with certs' server certificate. It takes connections one at
// a time, completes the handshake (TLS 1.2 and 1.3 offered, resumption by
// session ID and ticket on), and hands each connection to the test's
// script; then it sends a close alert and closes the socket. Every socket
// operation of the server gives up after ten seconds, so a client that
// stops talking cannot hang a test.
class TlsTestServer {
 public:
  // What the server saw of one connection.
  struct Connection {
    bool handshake = false;  // the handshake completed
    bool resumed = false;    // SSL_session_reused() after it
    int version = 0;         // SSL_version() after it
  };

  using Script = std::function<void(SSL*)>;
  using Configure = std::function<void(SSL_CTX*)>;

  // With requireClientCert the client must present a certificate that
  // certs' CA signed. A null script closes each connection after the
  // handshake. configure, when given, adjusts the server's context before
  // the server starts (callbacks, versions). Throws std::runtime_error
  // when it cannot listen.
  explicit TlsTestServer(const TestCertificates& certs, Script script = nullptr,
                         bool requireClientCert = false, const Configure& configure = nullptr);
  // Stops the thread and closes the listening socket.
  ~TlsTestServer();
  TlsTestServer(const TlsTestServer&) = delete;
  TlsTestServer& operator=(const TlsTestServer&) = delete;

  int port() const { return m_listener.port(); }

  // Waits up to ten seconds until n connections have been served, and
  // returns what the server saw of every connection so far, in order.
  std::vector<Connection> waitForConnections(size_t n);

  // Script helpers. send() writes bytes as one TLS record; pauseMs() sleeps.
  static bool send(SSL* ssl, const std::string& bytes);
  static void pauseMs(int ms);
  // Reads until the peer closes the connection or stops talking.
  static void drain(SSL* ssl);

 protected:
  void run();
  void serve(int fd);

  SSL_CTX* m_ctx = nullptr;
  Script m_script;
  RawListener m_listener;
  std::atomic<bool> m_stopping{false};
  std::mutex m_mutex;
  std::condition_variable m_served;
  std::vector<Connection> m_connections;
  std::thread m_thread;
};

// Connects socket to 127.0.0.1:port, binds ctx's connection to it and runs
// the client handshake in blocking mode, then puts the socket into
// non-blocking mode, as the transaction engine does. Returns whether the
// handshake completed.
bool connectTls(BSSLContext& ctx, BSocket& socket, int port);

// Ends a connection made by connectTls() the way the transaction engine
// does: no close alert, context marked idle, socket closed.
void closeTls(BSSLContext& ctx, BSocket& socket);

#endif  // ZELVAN_TESTS_TLSTESTSERVER_H_
