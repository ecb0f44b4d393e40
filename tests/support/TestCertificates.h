#ifndef ZELVAN_TESTS_TESTCERTIFICATES_H_
#define ZELVAN_TESTS_TESTCERTIFICATES_H_

#include <string>

#include "CertificateFactory.h"

// A fresh set of test certificates (see CertificateFactory) in a new
// temporary directory under $ZV_TEST_TMP, or /tmp when it is not set. The
// directory and everything in it are removed by the destructor.
class TestCertificates {
 public:
  // Generates the set, protecting the client keys with password. Throws
  // std::runtime_error when the directory or a file cannot be made.
  explicit TestCertificates(const std::string& password = CertificateFactory::kDefaultPassword);
  ~TestCertificates();
  TestCertificates(const TestCertificates&) = delete;
  TestCertificates& operator=(const TestCertificates&) = delete;

  // One set with the default password, made on first use and shared by
  // every test of the process; removed when the process exits normally.
  static const TestCertificates& shared();

  const std::string& dir() const { return m_dir; }
  const std::string& password() const { return m_password; }
  // A password that opens none of the files.
  std::string wrongPassword() const { return m_password + "-wrong"; }

  std::string caCert() const { return path(CertificateFactory::kCaCert); }
  std::string serverCert() const { return path(CertificateFactory::kServerCert); }
  std::string serverKey() const { return path(CertificateFactory::kServerKey); }
  // Certificate and password-encrypted key in one PEM file.
  std::string clientPem() const { return path(CertificateFactory::kClientPem); }
  // Certificate and unencrypted key in one PEM file.
  std::string clientPlainPem() const { return path(CertificateFactory::kClientPlainPem); }
  std::string clientP12() const { return path(CertificateFactory::kClientP12); }
  // The content of clientPem() under a name ending in ".P12".
  std::string clientPemAsP12() const { return path(CertificateFactory::kClientPemAsP12); }
  // Valid from tomorrow; the key is encrypted with the password.
  std::string clientNotYetValid() const { return path(CertificateFactory::kClientNotYetValid); }
  // Expired yesterday; the key is encrypted with the password.
  std::string clientExpired() const { return path(CertificateFactory::kClientExpired); }
  // A self-signed CA unrelated to caCert().
  // A client certificate with unencrypted key, signed by the other CA (other-ca.pem).
  std::string otherClientPem() const { return path(CertificateFactory::kOtherClientPem); }

  // Creates a new, uniquely named directory whose name starts with prefix
  // under $ZV_TEST_TMP (created if needed), or /tmp when it is not set,
  // and returns its path. Throws std::runtime_error.
  static std::string makeTempDir(const char* prefix);

 protected:
  std::string path(const char* name) const { return m_dir + "/" + name; }

  std::string m_password;
  std::string m_dir;
};

#endif  // ZELVAN_TESTS_TESTCERTIFICATES_H_
