#ifndef ZELVAN_GATEWAYSIM_GATEWAYSERVER_H_
#define ZELVAN_GATEWAYSIM_GATEWAYSERVER_H_

#include <openssl/ssl.h>

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "Connection.h"
#include "Gateway.h"
#include "MessageRecorder.h"
#include "SimOptions.h"
#include "SimStats.h"

// The simulator's TLS server: listens on one IPv4 address and serves each
// connection on a thread of its own, so connections may come one after
// another or all at once.
class GatewayServer {
 public:
  explicit GatewayServer(const SimOptions& options);
  ~GatewayServer();
  GatewayServer(const GatewayServer&) = delete;
  GatewayServer& operator=(const GatewayServer&) = delete;

  // Loads the certificate and key, opens the record file and starts
  // listening. Returns false with the reason in error.
  bool start(std::string* error);

  // The port listened on, once start() has succeeded.
  int port() const { return m_port; }

  // Accepts and serves connections until stop() is called, then closes the
  // listener and waits for every connection's thread to end.
  void run();

  // Makes run() and every connection end soon. Callable from any thread.
  void stop() { m_stopping = true; }

  SimStats& stats() { return m_stats; }

 protected:
  struct Worker {
    std::thread thread;
    std::atomic<bool> done{false};
  };

  bool setUpTls(std::string* error);
  bool listen(std::string* error);
  void joinFinishedWorkers(bool all);

  const SimOptions& m_options;
  std::atomic<bool> m_stopping{false};
  SSL_CTX* m_tls = nullptr;
  int m_listener = -1;
  int m_port = 0;
  Gateway m_gateway;
  SimStats m_stats;
  MessageRecorder m_recorder;
  std::unique_ptr<ServerContext> m_context;
  std::list<Worker> m_workers;
};

#endif  // ZELVAN_GATEWAYSIM_GATEWAYSERVER_H_
