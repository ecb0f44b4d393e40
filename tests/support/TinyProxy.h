#ifndef ZELVAN_TESTS_TINYPROXY_H_
#define ZELVAN_TESTS_TINYPROXY_H_

#include <sys/types.h>

#include <string>
// Runs tinyproxy (installed by scripts/ensure-proxy.sh) in a child process
// for one test: on a free port of 127.0.0.1, allowing clients from
// 127.0.0.1 only, with its configuration and its log in a temporary
// directory. The destructor stops it and removes the directory.
class TinyProxy {
 public:
  struct Options {
    // When user is not empty, the proxy requires these credentials
    // (tinyproxy accepts letters, digits, "-", "." and "_" in them).
    std::string user;
    std::string password;
  };

  // The path of the tinyproxy program, or "" when it is not installed
  // (tests then skip).
  static std::string program();

  // Starts the proxy and waits until it accepts connections. Throws
  // std::runtime_error when it does not start.
  explicit TinyProxy(const Options& options);
  // Stops the proxy (SIGTERM, then SIGKILL) and removes its directory.
  ~TinyProxy();
  TinyProxy(const TinyProxy&) = delete;
  TinyProxy& operator=(const TinyProxy&) = delete;

  int port() const { return m_port; }

  // The proxy's log as it stands now (it writes each line as it goes).
  std::string log() const;

 private:
  // Writes the configuration for port and starts the proxy on it. False
  // when it ended at once (the port was taken in the meantime).
  bool startOn(int port, const Options& options);
  void stop();

  std::string m_dir;
  pid_t m_pid = -1;
  int m_port = 0;
};

#endif  // ZELVAN_TESTS_TINYPROXY_H_
