#include "GatewaySim.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "TestCertificates.h"
#include "childProcess.h"
#include "gatewayMessage.h"
#include "testText.h"

namespace {

constexpr int kStartTimeoutMs = 20000;  // generous: sanitizer builds start slowly
constexpr int kStopTimeoutMs = 10000;

// $ZV_GATEWAY_SIM, or the simulator this build made.
std::string program() {
  const char* fromEnvironment = std::getenv("ZV_GATEWAY_SIM");
  return fromEnvironment && *fromEnvironment ? fromEnvironment : ZV_GATEWAY_SIM_PATH;
}

}  // namespace

GatewaySim::GatewaySim(const TestCertificates& certs, const std::vector<std::string>& extraArgs)
    : m_dir(TestCertificates::makeTempDir("zv-sim-")), m_statsPath(m_dir + "/stats"), m_recordPath(m_dir + "/record") {
  std::vector<std::string> args = {program(), "--cert", certs.serverCert(), "--key", certs.serverKey(),
                                   "--port", "0", "--stats", m_statsPath, "--record", m_recordPath,
                                   "--ca", certs.caCert()};
  args.insert(args.end(), extraArgs.begin(), extraArgs.end());
  // Standard error stays the test's, where a sanitizer's report shows.
  const std::string outputPath = m_dir + "/output";
  m_pid = spawnToFile(args, outputPath, false);
  try {
    if (m_pid == -1) throw std::runtime_error("cannot start " + args[0]);
    auto reported = [&] { return readFile(outputPath).find('\n') != std::string::npos; };
    std::string output = waitForChild(m_pid, kStartTimeoutMs, reported) ? readFile(outputPath) : "";
    if (output.empty()) throw std::runtime_error("the simulator did not report its port: " + readFile(outputPath));
    if (std::sscanf(output.c_str(), "LISTENING %d\n", &m_port) != 1 || m_port <= 0) {
      throw std::runtime_error("unexpected first line from the simulator: " + output);
    }
  } catch (...) {
    stop(SIGKILL);
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
    throw;
  }
}

GatewaySim::~GatewaySim() {
  // A clean simulator exits 0 on SIGTERM; anything else (a sanitizer's
  // report, a crash, a hang) fails the test that ran it.
  int exitCode = stop();
  if (exitCode != 0) ADD_FAILURE() << "the gateway simulator exited with " << exitCode;
  std::error_code ignored;
  std::filesystem::remove_all(m_dir, ignored);
}

int GatewaySim::stop(int signal) {
  if (m_pid > 0) {
    m_exitCode = stopChild(m_pid, signal, kStopTimeoutMs);
    m_pid = -1;
  }
  return m_exitCode;
}

long GatewaySim::stat(const std::string& name) const {
  std::istringstream lines(readFile(m_statsPath));
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, name.size() + 1, name + "=") == 0) return std::atol(line.c_str() + name.size() + 1);
  }
  return 0;
}

bool GatewaySim::waitForStat(const std::string& name, long atLeast) const {
  return pollUntil(10000, [&] { return stat(name) >= atLeast; });
}

std::vector<std::string> GatewaySim::recordedMessages() const {
  std::string text = readFile(m_recordPath);
  std::vector<std::string> messages;
  for (size_t start = 0, at; (at = text.find(kEndMarker, start)) != std::string::npos; start = at + kEndMarkerLength) {
    messages.push_back(text.substr(start, at + kEndMarkerLength - start));
  }
  return messages;
}
