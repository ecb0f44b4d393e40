#ifndef ZELVAN_TESTS_GATEWAYSIM_H_
#define ZELVAN_TESTS_GATEWAYSIM_H_

#include <sys/types.h>

#include <csignal>

#include <string>
#include <vector>

class TestCertificates;

// Runs zelvan-gateway-sim in a child process for one test: on a free port
// of 127.0.0.1, with its standard output, its counters (a stats file) and
// every message it receives (a record file) in a temporary directory that
// the destructor removes with the simulator stopped.
//
// The program is $ZV_GATEWAY_SIM when set, else the one this build made.
class GatewaySim {
 public:
  // Starts the simulator with certs' server certificate and key, requiring
  // client certificates that certs' CA signed, and with extraArgs (for
  // example {"--fault", "slow"}) appended. Throws std::runtime_error when
  // it does not report a port.
  explicit GatewaySim(const TestCertificates& certs, const std::vector<std::string>& extraArgs = {});
  // Stops the simulator if it still runs and removes the temporary
  // directory. A simulator that did not exit with 0 fails the current test.
  ~GatewaySim();
  GatewaySim(const GatewaySim&) = delete;
  GatewaySim& operator=(const GatewaySim&) = delete;

  int port() const { return m_port; }

  // One counter as the stats file holds it now, 0 when absent.
  long stat(const std::string& name) const;
  // Waits, up to 10 seconds, until the counter reaches atLeast; returns
  // whether it did. For counters that the simulator moves after the client
  // has already seen the effect (a handshake it finishes last).
  bool waitForStat(const std::string& name, long atLeast) const;

  // Every message received so far, whole, end marker included, in order.
  std::vector<std::string> recordedMessages() const;

  // Sends signal (SIGTERM by default) and waits up to 10 seconds for the
  // simulator to exit, killing it after that. Returns its exit code, or
  // 128 + the signal that ended it. Later calls return the same result.
  int stop(int signal = SIGTERM);

 protected:
  std::string m_dir;
  std::string m_statsPath;
  std::string m_recordPath;
  pid_t m_pid = -1;
  int m_port = 0;
  int m_exitCode = -1;
};

#endif  // ZELVAN_TESTS_GATEWAYSIM_H_
