#ifndef ZELVAN_TESTS_SESSIONSTOREGUARD_H_
#define ZELVAN_TESTS_SESSIONSTOREGUARD_H_

#include <string>

class TestCertificates;

// Gives a test a process without SSL session stores attached, and removes the
// shared-memory segments that the test (or a process it started) created
// for the files of a certificate set, so that none outlives the test run.
class SessionStoreGuard {
 public:
  // Detaches every store the process has.
  explicit SessionStoreGuard(const TestCertificates& certs);
  // Detaches the process's stores and removes the segments of certs' files.
  ~SessionStoreGuard();
  SessionStoreGuard(const SessionStoreGuard&) = delete;
  SessionStoreGuard& operator=(const SessionStoreGuard&) = delete;

  // The identifier of the store segment of certificatePath, or -1 when it
  // does not exist.
  static int segmentOf(const std::string& certificatePath);

 private:
  static void dropStore();
  std::string m_dir;
};

#endif  // ZELVAN_TESTS_SESSIONSTOREGUARD_H_
