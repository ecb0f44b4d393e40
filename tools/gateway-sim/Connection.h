#ifndef ZELVAN_GATEWAYSIM_CONNECTION_H_
#define ZELVAN_GATEWAYSIM_CONNECTION_H_

#include <openssl/ssl.h>

#include <atomic>
#include <functional>
#include <string>

#include "Gateway.h"
#include "MessageRecorder.h"
#include "SimOptions.h"
#include "SimStats.h"
#include "TlsStream.h"

// What every connection of one simulator run shares.
struct ServerContext {
  const SimOptions& options;
  SSL_CTX* tls;
  Gateway& gateway;
  SimStats& stats;
  MessageRecorder& recorder;
  const std::atomic<bool>& stopping;
  std::atomic<long> statusRequests{0};

  // Writes one line to stderr when --verbose is on.
  void log(const char* format, ...) const __attribute__((format(printf, 2, 3)));
};

// Serves one accepted TCP connection: the TLS handshake, then messages
// until the client closes. A PURCHASE, REFUND or other type gets a first
// reply that opens a reference and, after the client's second message,
// the final response; a STATUS request gets one reply. Faults chosen on
// the command line replace or withhold replies.
class Connection {
 public:
  // number counts the simulator's connections from 1; fd is connected and
  // non-blocking, and is closed by run().
  Connection(ServerContext& context, int fd, long number);

  void run();

 protected:
  // Which reply a message is answered with.
  enum class Phase { kFirst, kFinal, kStatus };

  // Answers one message; false when the connection is to be closed.
  bool handle(TlsStream& stream, const std::string& text);

  // Sends the reply that answer() gives, unless the fault replaces or
  // withholds it. Returns false when the connection is to be closed.
  bool respond(TlsStream& stream, Phase phase, Fault fault, const std::function<ReplyFields()>& answer);

  // Counts a reply made, sent or not: an error, or a final decision.
  void countReply(Phase phase, const ReplyFields& reply);

  // The fault for the next STATUS request.
  Fault nextStatusFault();

  ServerContext& m_context;
  int m_fd;
  long m_number;
  Fault m_fault;
  std::string m_reference;  // the transaction awaiting its second message
};

#endif  // ZELVAN_GATEWAYSIM_CONNECTION_H_
