#ifndef ZELVAN_GATEWAYSIM_SIMOPTIONS_H_
#define ZELVAN_GATEWAYSIM_SIMOPTIONS_H_

#include <string>
#include <utility>
#include <vector>

// A misbehaviour the simulator can be told to show, so that clients can be
// tested against it. For a STATUS request its one reply counts as both the
// first reply and the final response.
enum class Fault {
  kNone,
  kFirstError,        // the first reply carries ERROR
  kFirstNoReference,  // the first reply has neither ERROR nor TXNREFERENCE
  kCloseBeforeFinal,  // the connection is closed instead of the final response
  kFinalNever,        // no final response; the connection stays open
  kSlow,              // every reply is written in small pieces with pauses
  kGarbage,           // the first reply is bytes that are not the protocol
  kNoTls,             // TCP is accepted and closed without a TLS handshake
  kFinalNoResult,     // the final response has neither RESULT nor ERROR
  kFirstNul,          // the first reply has a NUL byte before its end marker
};

// Returns the fault called name ("first-error", ...), or false.
bool faultFromName(const std::string& name, Fault* fault);
const char* faultName(Fault fault);

// The simulator's command line.
struct SimOptions {
  std::string certFile;  // server certificate (PEM, may hold the chain)
  std::string keyFile;   // its private key (PEM, unencrypted)
  std::string caFile;    // when set, clients must present a certificate it verifies
  std::string bindAddress = "127.0.0.1";
  int port = 0;  // 0 picks a free port
  bool noResume = false;   // refuse session resumption altogether
  bool noTickets = false;  // resume by session ID only
  bool tls13Only = false;  // refuse TLS 1.2
  std::string requireSni;  // when set, refuse clients that do not send this server name
  std::string recordFile;
  std::string statsFile;
  Fault fault = Fault::kNone;        // for non-STATUS requests and connections
  long faultConnections = -1;        // fault only the first N connections; -1: all
  Fault statusFault = Fault::kNone;  // for STATUS requests
  long statusFaultCount = -1;        // fault only the first N STATUS requests; -1: all
  int chunkBytes = 3;                // piece size of the slow fault
  int chunkDelayMs = 50;             // pause between pieces of the slow fault
  int idleTimeoutSeconds = 120;      // a connection silent this long is closed
  // When 0 or more, every final response of a non-STATUS request is
  // dropped (the connection closed instead) and its decision recorded this
  // many milliseconds later; STATUS answers "TRANSACTION NOT COMPLETED"
  // until then. -1: decisions are recorded at once.
  long settleAfterMs = -1;
  // Fields added to every reply written, as a hostile gateway would add
  // them (name, value).
  std::vector<std::pair<std::string, std::string>> extraReplyFields;
  bool verbose = false;
  bool help = false;
  bool version = false;
};

// Fills options from argv. On a bad command line returns false with the
// reason in error.
bool parseOptions(int argc, char** argv, SimOptions* options, std::string* error);

// The usage text, for --help and command-line errors.
const char* usageText();

#endif  // ZELVAN_GATEWAYSIM_SIMOPTIONS_H_
