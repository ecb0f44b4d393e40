#include "TestCertificates.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace {

std::string tempRoot() {
  const char* root = std::getenv("ZV_TEST_TMP");
  if (!root || !*root) return "/tmp";
  std::error_code ignored;
  std::filesystem::create_directories(root, ignored);
  return root;
}

}  // namespace

std::string TestCertificates::makeTempDir(const char* prefix) {
  std::string pattern = tempRoot() + "/" + prefix + "XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (!mkdtemp(buffer.data())) throw std::runtime_error("cannot create a directory like " + pattern);
  return buffer.data();
}

TestCertificates::TestCertificates(const std::string& password)
    : m_password(password), m_dir(makeTempDir("zv-certs-")) {
  try {
    CertificateFactory(m_password).writeAll(m_dir);
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
    throw;
  }
}

TestCertificates::~TestCertificates() {
  std::error_code ignored;
  std::filesystem::remove_all(m_dir, ignored);
}

const TestCertificates& TestCertificates::shared() {
  static const TestCertificates certificates;
  return certificates;
}
