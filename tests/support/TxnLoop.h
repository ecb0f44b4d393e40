#ifndef ZELVAN_TESTS_TXNLOOP_H_
#define ZELVAN_TESTS_TXNLOOP_H_

#include <cstdio>
#include <map>
#include <string>
#include <vector>

class TestCertificates;

// Runs zv-txn-loop, the small merchant program of tests/reliability, as a
// process of its own: each run is a fresh process with no SSL context and
// no session store attached yet, as a merchant's short-lived jobs are.
// The program is the one whose path the suite defines as
// ZV_TXN_LOOP_PATH, passed to the constructor.
class TxnLoop {
 public:
  // What a finished run printed and how it ended.
  struct Result {
    int exitCode = -1;
    std::string output;
    // The counters of its summary line (transactions, completed,
    // approved, declined, failed).
    std::map<std::string, long> summary;
  };

  // Starts the program with certs' PKCS#12 certificate, password and CA,
  // port as the default port, and args appended (for example
  // {"--count", "100"}). Throws std::runtime_error when it cannot start.
  TxnLoop(const std::string& program, const TestCertificates& certs, int port,
          const std::vector<std::string>& args = {});
  // Waits for a run that finish() has not collected.
  ~TxnLoop();
  TxnLoop(const TxnLoop&) = delete;
  TxnLoop& operator=(const TxnLoop&) = delete;

  // Waits for the program to end and returns what it printed.
  Result finish();

 private:
  FILE* m_pipe;
};

#endif  // ZELVAN_TESTS_TXNLOOP_H_
