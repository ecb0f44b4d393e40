#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "TestCertificates.h"

namespace {

X509* readCertificate(const std::string& path) {
  FILE* f = std::fopen(path.c_str(), "r");
  if (!f) return nullptr;
  X509* cert = PEM_read_X509(f, nullptr, nullptr, nullptr);
  std::fclose(f);
  return cert;
}

// Reads the PEM key of path; a null password refuses any encrypted key.
EVP_PKEY* readKey(const std::string& path, const char* password) {
  FILE* f = std::fopen(path.c_str(), "r");
  if (!f) return nullptr;
  static char kNoPassword[] = "";
  EVP_PKEY* key = PEM_read_PrivateKey(f, nullptr, nullptr,
                                      password ? const_cast<char*>(password) : kNoPassword);
  std::fclose(f);
  return key;
}

bool verifies(const std::string& certPath, const std::string& caPath) {
  X509* cert = readCertificate(certPath);
  X509* ca = readCertificate(caPath);
  X509_STORE* store = X509_STORE_new();
  X509_STORE_CTX* ctx = X509_STORE_CTX_new();
  bool ok = cert && ca && X509_STORE_add_cert(store, ca) && X509_STORE_CTX_init(ctx, store, cert, nullptr) &&
            X509_verify_cert(ctx) == 1;
  X509_STORE_CTX_free(ctx);
  X509_STORE_free(store);
  X509_free(ca);
  X509_free(cert);
  return ok;
}

// Parses a PKCS#12 file; on success returns true and whether its
// certificate is the one in pemPath.
bool parsePkcs12(const std::string& path, const std::string& password, const std::string& pemPath,
                 bool* sameCertificate) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return false;
  PKCS12* p12 = d2i_PKCS12_fp(f, nullptr);
  std::fclose(f);
  EVP_PKEY* key = nullptr;
  X509* cert = nullptr;
  bool ok = p12 && PKCS12_parse(p12, password.c_str(), &key, &cert, nullptr) == 1 && key && cert;
  if (ok) {
    X509* pem = readCertificate(pemPath);
    *sameCertificate = pem && X509_cmp(pem, cert) == 0 && X509_check_private_key(cert, key) == 1;
    X509_free(pem);
  }
  X509_free(cert);
  EVP_PKEY_free(key);
  PKCS12_free(p12);
  return ok;
}

}  // namespace

TEST(CertificateSet, ChainsAndServerAddress) {
  const TestCertificates& certs = TestCertificates::shared();
  EXPECT_TRUE(verifies(certs.serverCert(), certs.caCert()));
  EXPECT_TRUE(verifies(certs.clientPem(), certs.caCert()));
  EXPECT_FALSE(verifies(certs.clientPem(), certs.otherCaCert()));
  EXPECT_TRUE(verifies(certs.otherClientPem(), certs.otherCaCert()));
  EXPECT_FALSE(verifies(certs.otherClientPem(), certs.caCert()));

  X509* server = readCertificate(certs.serverCert());
  ASSERT_NE(server, nullptr);
  EXPECT_EQ(X509_check_ip_asc(server, "127.0.0.1", 0), 1);
  EXPECT_EQ(X509_check_host(server, "127.0.0.1", 0, 0, nullptr), 1);
  X509_free(server);
}

TEST(CertificateSet, ValidityDates) {
  const TestCertificates& certs = TestCertificates::shared();
  struct {
    std::string path;
    int notBeforeVsNow;  // sign of X509_cmp_current_time
    int notAfterVsNow;
  } cases[] = {
      {certs.clientPem(), -1, 1},
      {certs.clientNotYetValid(), 1, 1},
      {certs.clientExpired(), -1, -1},
      {certs.serverCert(), -1, 1},
  };
  for (const auto& c : cases) {
    X509* cert = readCertificate(c.path);
    ASSERT_NE(cert, nullptr) << c.path;
    EXPECT_EQ(X509_cmp_current_time(X509_get0_notBefore(cert)), c.notBeforeVsNow) << c.path;
    EXPECT_EQ(X509_cmp_current_time(X509_get0_notAfter(cert)), c.notAfterVsNow) << c.path;
    X509_free(cert);
  }
}

TEST(CertificateSet, KeysOpenOnlyWithTheirPassword) {
  TestCertificates certs("another secret");
  EXPECT_EQ(certs.password(), "another secret");
  for (const std::string& path : {certs.clientPem(), certs.clientPemAsP12(), certs.clientNotYetValid(),
                                  certs.clientExpired()}) {
    EVP_PKEY* key = readKey(path, "another secret");
    EXPECT_NE(key, nullptr) << path;
    EVP_PKEY_free(key);
    EXPECT_EQ(readKey(path, certs.wrongPassword().c_str()), nullptr) << path;
    EXPECT_EQ(readKey(path, nullptr), nullptr) << path;
  }
  EVP_PKEY* plain = readKey(certs.clientPlainPem(), nullptr);
  EXPECT_NE(plain, nullptr);
  EVP_PKEY_free(plain);

  bool same = false;
  EXPECT_TRUE(parsePkcs12(certs.clientP12(), "another secret", certs.clientPem(), &same));
  EXPECT_TRUE(same) << "the PKCS#12 file holds the client certificate and its key";
  EXPECT_FALSE(parsePkcs12(certs.clientP12(), certs.wrongPassword(), certs.clientPem(), &same));
  EXPECT_FALSE(parsePkcs12(certs.clientPemAsP12(), "another secret", certs.clientPem(), &same))
      << "the .P12-named file is PEM, not PKCS#12";
  X509* fromUpperCaseP12 = readCertificate(certs.clientPemAsP12());
  X509* fromPem = readCertificate(certs.clientPem());
  ASSERT_NE(fromUpperCaseP12, nullptr);
  EXPECT_EQ(X509_cmp(fromUpperCaseP12, fromPem), 0);
  X509_free(fromUpperCaseP12);
  X509_free(fromPem);
}

TEST(CertificateSet, DirectoryIsRemovedWithTheSet) {
  std::string dir;
  {
    TestCertificates certs;
    dir = certs.dir();
    EXPECT_EQ(dir.rfind(TestCertificates::tempRoot() + "/", 0), 0u) << dir;
    EXPECT_TRUE(std::filesystem::exists(certs.clientP12()));
  }
  EXPECT_FALSE(std::filesystem::exists(dir));
}
