#include "CertificateFactory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using KeyPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using CertPtr = std::unique_ptr<X509, decltype(&X509_free)>;
using BioPtr = std::unique_ptr<BIO, decltype(&BIO_free)>;
using P12Ptr = std::unique_ptr<PKCS12, decltype(&PKCS12_free)>;

constexpr long kDay = 24L * 60 * 60;

// Throws with the step that failed and the reasons OpenSSL queued for it.
[[noreturn]] void fail(const std::string& step) {
  std::string message = "certificate generation failed: " + step;
  char reason[256];
  while (unsigned long code = ERR_get_error()) {
    ERR_error_string_n(code, reason, sizeof(reason));
    message += "; ";
    message += reason;
  }
  throw std::runtime_error(message);
}

KeyPtr newKey() {
  KeyPtr key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  if (!key) fail("EC key generation");
  return key;
}

// A certificate's issuer: its certificate and key, or none for a
// self-signed certificate.
struct Issuer {
  X509* cert;
  EVP_PKEY* key;
};

// What a certificate is for; decides its extensions.
enum class Role { kCa, kServer, kClient };

std::vector<std::pair<int, const char*>> extensionsFor(Role role) {
  switch (role) {
    case Role::kCa:
      return {{NID_basic_constraints, "critical,CA:TRUE"},
              {NID_key_usage, "critical,keyCertSign,cRLSign"},
              {NID_subject_key_identifier, "hash"}};
    case Role::kServer:
      return {{NID_basic_constraints, "CA:FALSE"},
              {NID_key_usage, "critical,digitalSignature"},
              {NID_ext_key_usage, "serverAuth"},
              {NID_subject_alt_name, "IP:127.0.0.1"},
              {NID_subject_key_identifier, "hash"},
              {NID_authority_key_identifier, "keyid"}};
    case Role::kClient:
      return {{NID_basic_constraints, "CA:FALSE"},
              {NID_key_usage, "critical,digitalSignature"},
              {NID_ext_key_usage, "clientAuth"},
              {NID_subject_key_identifier, "hash"},
              {NID_authority_key_identifier, "keyid"}};
  }
  return {};
}

void setRandomSerial(X509* cert) {
  unsigned char bytes[8];
  if (RAND_bytes(bytes, sizeof(bytes)) != 1) fail("serial number");
  bytes[0] &= 0x7f;  // keep the serial positive
  BIGNUM* bn = BN_bin2bn(bytes, sizeof(bytes), nullptr);
  bool ok = bn && BN_to_ASN1_INTEGER(bn, X509_get_serialNumber(cert));
  BN_free(bn);
  if (!ok) fail("serial number");
}

// Builds and signs a certificate for key with common name cn, valid from
// now + fromSeconds to now + toSeconds. A null issuer.cert self-signs.
CertPtr makeCertificate(EVP_PKEY* key, const char* cn, Role role, Issuer issuer,
                        long fromSeconds, long toSeconds) {
  CertPtr cert(X509_new(), X509_free);
  if (!cert) fail("certificate allocation");
  X509* x = cert.get();
  X509_NAME* name = X509_get_subject_name(x);
  bool ok = X509_set_version(x, X509_VERSION_3) &&
            X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                                       reinterpret_cast<const unsigned char*>("Zelvan Test"), -1, -1, 0) &&
            X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                       reinterpret_cast<const unsigned char*>(cn), -1, -1, 0) &&
            X509_set_issuer_name(x, issuer.cert ? X509_get_subject_name(issuer.cert) : name) &&
            X509_gmtime_adj(X509_getm_notBefore(x), fromSeconds) &&
            X509_gmtime_adj(X509_getm_notAfter(x), toSeconds) && X509_set_pubkey(x, key);
  if (!ok) fail(std::string("certificate fields of ") + cn);
  setRandomSerial(x);

  X509V3_CTX ctx;
  X509V3_set_ctx_nodb(&ctx);
  X509V3_set_ctx(&ctx, issuer.cert ? issuer.cert : x, x, nullptr, nullptr, 0);
  for (const auto& [nid, value] : extensionsFor(role)) {
    X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
    bool added = ext && X509_add_ext(x, ext, -1);
    X509_EXTENSION_free(ext);
    if (!added) fail(std::string("extension ") + value + " of " + cn);
  }
  if (X509_sign(x, issuer.key ? issuer.key : key, EVP_sha256()) <= 0) fail(std::string("signing ") + cn);
  return cert;
}

// Files that hold a private key are readable by their owner only (0600),
// certificates by everyone (0644). The mode is set on the open descriptor,
// so a file that existed before gets it too and no key is ever readable
// by others, not even for a moment.
BioPtr openForWriting(const std::string& path, bool holdsKey) {
  mode_t mode = holdsKey ? 0600 : 0644;
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (fd < 0) fail("cannot create " + path);
  if (fchmod(fd, mode) != 0) {
    close(fd);
    fail("cannot set the mode of " + path);
  }
  BioPtr bio(BIO_new_fd(fd, BIO_CLOSE), BIO_free);
  if (!bio) {
    close(fd);
    fail("cannot create " + path);
  }
  return bio;
}

// Writes the key, encrypted with AES-256 under password when it is not empty.
void writeKey(BIO* bio, EVP_PKEY* key, const std::string& password, const std::string& path) {
  const EVP_CIPHER* cipher = password.empty() ? nullptr : EVP_aes_256_cbc();
  auto* pass = reinterpret_cast<unsigned char*>(const_cast<char*>(password.c_str()));
  if (!PEM_write_bio_PrivateKey(bio, key, cipher, password.empty() ? nullptr : pass,
                                static_cast<int>(password.size()), nullptr, nullptr)) {
    fail("writing the key of " + path);
  }
}

void writeCertificate(BIO* bio, X509* cert, const std::string& path) {
  if (!PEM_write_bio_X509(bio, cert)) fail("writing " + path);
}

// One PEM file with the certificate first, then its key.
void writeCertificateAndKey(const std::string& path, X509* cert, EVP_PKEY* key,
                            const std::string& password) {
  BioPtr bio = openForWriting(path, true);
  writeCertificate(bio.get(), cert, path);
  writeKey(bio.get(), key, password, path);
}

void writeCertificateFile(const std::string& path, X509* cert) {
  writeCertificate(openForWriting(path, false).get(), cert, path);
}

void writeKeyFile(const std::string& path, EVP_PKEY* key) {
  writeKey(openForWriting(path, true).get(), key, "", path);
}

// PKCS#12 with OpenSSL's default algorithms (AES-256 and PBKDF2), which
// OpenSSL 3 reads without the legacy provider.
void writePkcs12(const std::string& path, X509* cert, EVP_PKEY* key, const std::string& password) {
  P12Ptr p12(PKCS12_create(password.c_str(), "zelvan test client", key, cert, nullptr, 0, 0, 0, 0, 0),
             PKCS12_free);
  if (!p12) fail("building " + path);
  BioPtr bio = openForWriting(path, true);
  if (i2d_PKCS12_bio(bio.get(), p12.get()) != 1) fail("writing " + path);
}

}  // namespace

CertificateFactory::CertificateFactory(std::string password) : m_password(std::move(password)) {}

void CertificateFactory::writeAll(const std::string& dir) const {
  auto path = [&dir](const char* name) { return dir + "/" + name; };
  const long kYear = 365 * kDay;

  KeyPtr caKey = newKey();
  CertPtr ca = makeCertificate(caKey.get(), "Zelvan Test CA", Role::kCa, {nullptr, nullptr}, -kDay, 10 * kYear);
  writeCertificateFile(path(kCaCert), ca.get());
  writeKeyFile(path(kCaKey), caKey.get());
  Issuer byCa{ca.get(), caKey.get()};

  KeyPtr serverKey = newKey();
  CertPtr server = makeCertificate(serverKey.get(), "127.0.0.1", Role::kServer, byCa, -kDay, kYear);
  writeCertificateFile(path(kServerCert), server.get());
  writeKeyFile(path(kServerKey), serverKey.get());

  KeyPtr clientKey = newKey();
  CertPtr client = makeCertificate(clientKey.get(), "zelvan-test-client", Role::kClient, byCa, -kDay, kYear);
  writeCertificateAndKey(path(kClientPem), client.get(), clientKey.get(), m_password);
  writeCertificateAndKey(path(kClientPemAsP12), client.get(), clientKey.get(), m_password);
  writeCertificateAndKey(path(kClientPlainPem), client.get(), clientKey.get(), "");
  writePkcs12(path(kClientP12), client.get(), clientKey.get(), m_password);

  KeyPtr notYetKey = newKey();
  CertPtr notYet = makeCertificate(notYetKey.get(), "zelvan-test-client-notyet", Role::kClient, byCa, kDay, kYear);
  writeCertificateAndKey(path(kClientNotYetValid), notYet.get(), notYetKey.get(), m_password);

  KeyPtr expiredKey = newKey();
  CertPtr expired =
      makeCertificate(expiredKey.get(), "zelvan-test-client-expired", Role::kClient, byCa, -30 * kDay, -kDay);
  writeCertificateAndKey(path(kClientExpired), expired.get(), expiredKey.get(), m_password);

  KeyPtr otherCaKey = newKey();
  CertPtr otherCa =
      makeCertificate(otherCaKey.get(), "Zelvan Other CA", Role::kCa, {nullptr, nullptr}, -kDay, 10 * kYear);
  writeCertificateFile(path(kOtherCaCert), otherCa.get());
  writeKeyFile(path(kOtherCaKey), otherCaKey.get());

  KeyPtr otherClientKey = newKey();
  CertPtr otherClient = makeCertificate(otherClientKey.get(), "zelvan-other-client", Role::kClient,
                                        {otherCa.get(), otherCaKey.get()}, -kDay, kYear);
  writeCertificateAndKey(path(kOtherClientPem), otherClient.get(), otherClientKey.get(), "");
}
