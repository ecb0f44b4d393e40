#include "TxnLoop.h"

#include <sys/wait.h>

#include <cstdlib>
#include <regex>
#include <stdexcept>

#include "TestCertificates.h"

namespace {

// Single quotes for the shell; the paths of tests hold no quote.
std::string quoted(const std::string& text) { return "'" + text + "'"; }

// The NAME=NUMBER counters of the last summary line.
std::map<std::string, long> summaryOf(const std::string& output) {
  std::map<std::string, long> counters;
  size_t line = output.rfind("transactions=");
  if (line == std::string::npos) return counters;
  static const std::regex counter(R"((\w+)=(\d+))");
  for (std::sregex_iterator it(output.begin() + line, output.end(), counter), end; it != end; ++it) {
    counters[(*it)[1]] = std::stol((*it)[2]);
  }
  return counters;
}

}  // namespace

TxnLoop::TxnLoop(const std::string& program, const TestCertificates& certs, int port,
                 const std::vector<std::string>& args) {
  std::string command = quoted(program) + " --cert " + quoted(certs.clientP12()) + " --password " +
                        quoted(certs.password()) + " --ca " + quoted(certs.caCert()) + " --port " +
                        std::to_string(port);
  for (const std::string& arg : args) command += " " + quoted(arg);
  m_pipe = popen(command.c_str(), "r");
  if (!m_pipe) throw std::runtime_error("cannot start " + program);
}

TxnLoop::~TxnLoop() {
  if (m_pipe) finish();
}

TxnLoop::Result TxnLoop::finish() {
  Result result;
  char buffer[4096];
  size_t count;
  while ((count = fread(buffer, 1, sizeof(buffer), m_pipe)) > 0) result.output.append(buffer, count);
  int status = pclose(m_pipe);
  m_pipe = nullptr;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
  result.summary = summaryOf(result.output);
  return result;
}
