#ifndef ZELVAN_TOOLS_CERTIFICATEFACTORY_H_
#define ZELVAN_TOOLS_CERTIFICATEFACTORY_H_

#include <string>

// Writes a complete set of test certificates into a directory: a CA, a
// server certificate for 127.0.0.1 signed by it, client certificates in
// every file form the library reads (PEM with and without an encrypted
// key, PKCS#12, PEM under a .P12 name, not yet valid, expired), and a
// second, unrelated CA with a client certificate of its own, so that
// verification against the wrong CA can be shown to fail.
//
// All keys are EC P-256, which is quick to generate. Used by the
// zelvan-certgen program and by the tests' TestCertificates helper.
class CertificateFactory {
 public:
  // File names written into the directory.
  static constexpr const char* kCaCert = "ca.pem";
  static constexpr const char* kCaKey = "ca-key.pem";
  static constexpr const char* kServerCert = "server.pem";
  static constexpr const char* kServerKey = "server-key.pem";
  static constexpr const char* kClientPem = "client.pem";
  static constexpr const char* kClientPlainPem = "client-plain.pem";
  static constexpr const char* kClientP12 = "client.p12";
  static constexpr const char* kClientPemAsP12 = "client-pem.P12";
  static constexpr const char* kClientNotYetValid = "client-notyet.pem";
  static constexpr const char* kClientExpired = "client-expired.pem";
  static constexpr const char* kOtherCaCert = "other-ca.pem";
  static constexpr const char* kOtherCaKey = "other-ca-key.pem";
  static constexpr const char* kOtherClientPem = "other-client.pem";

  static constexpr const char* kDefaultPassword = "zelvan-test";

  // The password protects the key of client.pem, client-pem.P12,
  // client-notyet.pem and client-expired.pem, and client.p12 as a whole.
  explicit CertificateFactory(std::string password = kDefaultPassword);

  // Generates fresh keys and certificates and writes every file above into
  // dir, which must exist and be writable; existing files are replaced.
  // Throws std::runtime_error, with OpenSSL's reason, on any failure.
  void writeAll(const std::string& dir) const;

 protected:
  std::string m_password;
};

#endif  // ZELVAN_TOOLS_CERTIFICATEFACTORY_H_
