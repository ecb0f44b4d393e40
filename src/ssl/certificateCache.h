#ifndef ZELVAN_CERTIFICATECACHE_H_
#define ZELVAN_CERTIFICATECACHE_H_

#include <openssl/ssl.h>

#include <functional>
#include <memory>
#include <string>

// Client certificate files parsed once per process. Reading a PKCS#12
// file derives its key with thousands of hash iterations, and the pool
// builds one SSL context per concurrent thread: every context of the same
// file and password shares one parsed certificate, key and chain (OpenSSL
// reference counts them), and the file is parsed again only when it
// changes on disk (inode, size or modification time).

// A certificate file as read: the certificate, its key and the CA
// certificates that came with it (may be null). Frees all three.
struct ParsedCertificate {
  X509* cert = nullptr;
  EVP_PKEY* key = nullptr;
  STACK_OF(X509)* chain = nullptr;
  ParsedCertificate() = default;
  ParsedCertificate(const ParsedCertificate&) = delete;
  ParsedCertificate& operator=(const ParsedCertificate&) = delete;
  ~ParsedCertificate();
};

// Reads the opened file into the parsed certificate; leaves cert or key
// null when it cannot.
using CertificateReader = std::function<void(BIO* file, ParsedCertificate* out)>;

// The file at path parsed with password: the one parsed before when the
// file has not changed since, else read now with read (one thread at a
// time, so that threads starting at once parse it once). Null when the
// file cannot be opened or read gives no certificate and key; a failure is
// not remembered, so a mended file is read on the next call.
std::shared_ptr<const ParsedCertificate> sharedCertificate(const std::string& path, const std::string& password,
                                                           const CertificateReader& read);

// The library context, with OpenSSL's legacy provider, in which older
// PKCS#12 files (RC2-40, 3DES) are read; made on the first call, which
// only such a file causes. Null when OpenSSL cannot make one.
OSSL_LIB_CTX* legacyReadingContext();

// Forgets every parsed certificate and frees the legacy reading context.
// Run when the pool of SSL contexts goes (and so when the library is
// unloaded); no context may be loading then.
void forgetParsedCertificates();

#endif  // ZELVAN_CERTIFICATECACHE_H_
