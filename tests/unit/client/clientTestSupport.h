#ifndef ZELVAN_TESTS_CLIENTTESTSUPPORT_H_
#define ZELVAN_TESTS_CLIENTTESTSUPPORT_H_

#include <filesystem>
#include <string>
#include <vector>

#include "TestCertificates.h"
#include "debugLog.h"
#include "testText.h"
#include "zelvanclient.h"

// A temporary directory for one test, removed with everything in it.
class TempDir {
 public:
  TempDir() : path_(TestCertificates::makeTempDir("zv-client-")) {}
  ~TempDir() { std::filesystem::remove_all(path_); }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// A transaction handle that is cleaned up at the end of the scope. Puts
// back the log globals that opening a log file changes.
class Handle {
 public:
  Handle() : t_(newBundle()) {}
  ~Handle() {
    cleanup(t_);
    isDebugOn = 0;
    isDebugToStdOut = 0;
  }
  txn* operator->() const { return t_; }
  operator txn*() const { return t_; }

 private:
  txn* t_;
};

// The texts of the log lines in log, without time stamp, number and CR LF.
inline std::vector<std::string> logTexts(const std::string& log) {
  std::vector<std::string> texts;
  size_t start = 0;
  for (size_t end; (end = log.find("\r\n", start)) != std::string::npos; start = end + 2) {
    std::string line = log.substr(start, end - start);
    size_t tab = line.find('\t', line.find('\t') + 1);
    texts.push_back(tab == std::string::npos ? line : line.substr(tab + 1));
  }
  return texts;
}

// The same for the log file at path.
inline std::vector<std::string> logFileTexts(const std::string& path) { return logTexts(readFile(path)); }

#endif  // ZELVAN_TESTS_CLIENTTESTSUPPORT_H_
