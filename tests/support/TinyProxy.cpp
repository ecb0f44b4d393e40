#include "TinyProxy.h"

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "BSocket.h"
#include "RawListener.h"
#include "TestCertificates.h"
#include "childProcess.h"
#include "testText.h"

namespace {

constexpr int kStartAttempts = 5;
constexpr int kStartTimeoutMs = 10000;
constexpr int kStopTimeoutMs = 5000;

bool accepts(int port) {
  BSocket probe;
  return probe.connect("127.0.0.1", port, 1000);
}

}  // namespace

std::string TinyProxy::program() {
  for (const char* path : {"/usr/bin/tinyproxy", "/usr/sbin/tinyproxy", "/usr/local/bin/tinyproxy"}) {
    if (access(path, X_OK) == 0) return path;
  }
  return "";
}

TinyProxy::TinyProxy(const Options& options) : m_dir(TestCertificates::makeTempDir("zv-proxy-")) {
  for (int attempt = 0; attempt < kStartAttempts && m_port == 0; ++attempt) {
    // Free a moment ago: another program may take it before the proxy
    // does, and the next attempt tries another.
    int port = RawListener("127.0.0.1", false).port();
    if (port != 0 && startOn(port, options)) m_port = port;
  }
  if (m_port == 0) {
    std::string output = readFile(m_dir + "/output");
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
    throw std::runtime_error("tinyproxy did not start: " + output);
  }
}

TinyProxy::~TinyProxy() {
  stop();
  std::error_code ignored;
  std::filesystem::remove_all(m_dir, ignored);
}

std::string TinyProxy::log() const { return readFile(m_dir + "/tinyproxy.log"); }

bool TinyProxy::startOn(int port, const Options& options) {
  std::string config = m_dir + "/tinyproxy.conf";
  {
    std::ofstream out(config, std::ios::trunc);
    out << "Port " << port << "\nListen 127.0.0.1\nTimeout 30\nMaxClients 20\n"
        << "LogFile \"" << m_dir << "/tinyproxy.log\"\nLogLevel Info\nAllow 127.0.0.1\n";
    if (!options.user.empty()) out << "BasicAuth " << options.user << " " << options.password << "\n";
  }
  // -d keeps it in the foreground, as our child.
  m_pid = spawnToFile({program(), "-d", "-c", config}, m_dir + "/output", true);
  if (m_pid == -1) return false;
  if (waitForChild(m_pid, kStartTimeoutMs, [port] { return accepts(port); })) return true;
  stop();  // it never accepted, or it ended (the port was taken meanwhile)
  return false;
}

void TinyProxy::stop() {
  if (m_pid > 0) stopChild(m_pid, SIGTERM, kStopTimeoutMs);
  m_pid = -1;
}
