#ifndef ZELVAN_TESTS_CLIENTSESSION_H_
#define ZELVAN_TESTS_CLIENTSESSION_H_

#include <string>

#include "GatewaySim.h"
#include "TestCertificates.h"
#include "zelvanclient.h"

// One transaction handle set up for the simulator: servers, port, client
// certificate and password, CA file, client id, and optionally a debug log
// in a temporary file. Removes the System V segment that its certificate
// keyed, and its log, when it goes.
class ClientSession {
 public:
  ClientSession(const TestCertificates& certs, int port, const std::string& servers = "127.0.0.1");
  ~ClientSession();
  ClientSession(const ClientSession&) = delete;
  ClientSession& operator=(const ClientSession&) = delete;

  txn* handle() { return t_; }
  void put(const char* name, const char* value) { ::put(t_, name, value); }
  // The field's value, "" when absent.
  std::string field(const char* name);
  bool has(const char* name) { return ::get(t_, name) != nullptr; }
  // Puts a purchase of card 4111111111111111 with its expiry date and CVC2.
  void fillPurchase(const char* type = "PURCHASE");
  // Switches the debug log on, into a file of the session's directory.
  void logToFile();
  std::string logText() const;
  int execute() { return ::execute(t_); }

 private:
  txn* t_;
  std::string certificate_;
  std::string logPath_;
};

// Removes the shared-memory segment keyed by a certificate path, if any.
void removeSessionSegment(const std::string& certificatePath);

#endif  // ZELVAN_TESTS_CLIENTSESSION_H_
