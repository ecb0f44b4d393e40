#include "BSSLContext.h"

#include <openssl/conf.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <mutex>

#include "BString.h"
#include "memTrack.h"
#include "sessionStore.h"

unsigned char kSSLInited = 0;

namespace {

constexpr int kBadCertOrKey = 100;
constexpr int kNotYetValid = 101;
constexpr int kExpired = 102;

BString* copyText(const char* s, const char* label) { return trackNew(new BString(s), label); }

// Writes like OpenSSL's socket BIO, but with MSG_NOSIGNAL: a gateway that
// has closed the connection makes the write fail instead of raising
// SIGPIPE, whose default action would end the merchant's process.
int writeWithoutSignal(BIO* bio, const char* data, int length) {
  int fd = -1;
  BIO_get_fd(bio, &fd);
  errno = 0;
  int written = static_cast<int>(send(fd, data, length > 0 ? length : 0, MSG_NOSIGNAL));
  BIO_clear_retry_flags(bio);
  if (written <= 0 && BIO_sock_should_retry(written)) BIO_set_retry_write(bio);
  return written;
}

// OpenSSL's socket BIO with the write above; made once per process.
BIO_METHOD* socketMethod() {
  static BIO_METHOD* method = [] {
    const BIO_METHOD* plain = BIO_s_socket();
    BIO_METHOD* m = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK | BIO_TYPE_DESCRIPTOR,
                                 "socket without SIGPIPE");
    if (m != nullptr) {
      BIO_meth_set_write(m, writeWithoutSignal);
      BIO_meth_set_read(m, BIO_meth_get_read(plain));
      BIO_meth_set_ctrl(m, BIO_meth_get_ctrl(plain));
      BIO_meth_set_create(m, BIO_meth_get_create(plain));
      BIO_meth_set_destroy(m, BIO_meth_get_destroy(plain));
    }
    return m;
  }();
  return method;
}

}  // namespace

BSSLContext::BSSLContext(const char* certificatePath, const char* password, const char* caFile,
                         const char*)
    : m_inUse(0),
      certificatePath(copyText(certificatePath, "ssl certificate path")),
      password(copyText(password, "ssl certificate password")),
      caFile(copyText(caFile, "ssl ca file")),
      ssl(nullptr),
      ctx(nullptr),
      session(nullptr),
      segmentId(0) {
  if (mSharedContainer == nullptr) attachSessionStore(certificatePath, segmentId);
}

BSSLContext::~BSSLContext() {
  trackDelete(certificatePath);
  trackDelete(password);
  trackDelete(caFile);
  SSL_SESSION_free(session);
  session = nullptr;
  if (ctx != nullptr) {
    // Freeing the context empties its session cache, and the remove
    // callback would take that as the stored session going bad and drop
    // the shared store. A context that goes away with its process says
    // nothing about the session: keep the store for the next process.
    SSL_CTX_sess_set_remove_cb(ctx, nullptr);
    SSL_CTX_flush_sessions(ctx, time(nullptr));
    SSL_CTX_free(ctx);
    ShutdownSSL();
    ctx = nullptr;
  }
  if (ssl != nullptr) {
    SSL_free(ssl);
    ssl = nullptr;
  }
  detachSessionStore();
  // OpenSSL 3 frees its error strings, algorithm tables and ex_data at
  // process exit by itself (the older per-call clean-ups are no-ops), so
  // only the configuration modules are unloaded here.
  CONF_modules_unload(1);
}

const char* BSSLContext::classType() { return staticType(); }

const char* BSSLContext::staticType() { return "BNetObject:BSSLContext"; }

void BSSLContext::initSSL() {
  // Threads that run their first transactions at once initialise OpenSSL
  // exactly once.
  static std::once_flag once;
  std::call_once(once, [] {
    // Error strings and every cipher and digest, without reading the
    // system's OpenSSL configuration file.
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS |
                         OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS |
                         OPENSSL_INIT_NO_LOAD_CONFIG,
                     nullptr);
    kSSLInited = 1;
  });
}

SSL* BSSLContext::getSSLObject() {
  initSSL();
  if (ctx == nullptr && !loadContext()) return nullptr;
  if (ssl == nullptr) ssl = SSL_new(ctx);
  return ssl;
}

bool BSSLContext::loadContext() {
  ctx = SSL_CTX_new(TLS_client_method());
  if (ctx == nullptr) return false;
  // TLS 1.2 only. Under TLS 1.3 OpenSSL removes a client session after
  // each resumed handshake (its tickets are single-use), and a removal
  // drops the shared store for the rest of the process.
  SSL_CTX_set_min_proto_version(ctx, TLS1_2_VERSION);
  SSL_CTX_set_max_proto_version(ctx, TLS1_2_VERSION);
  // Without a CA file the server's certificate is not verified.
  if (caFile->length() > 0) {
    SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_load_verify_locations(ctx, caFile->buffer(), nullptr);
  }
  SSL_CTX_set_default_passwd_cb_userdata(ctx, this);
  SSL_CTX_set_default_passwd_cb(ctx, PasswordCallback);

  X509* cert = nullptr;
  EVP_PKEY* key = nullptr;
  BIO* bio = BIO_new_file(certificatePath->buffer() ? certificatePath->buffer() : "", "r");
  if (bio != nullptr) readCertificate(bio, &cert, &key);

  bool loaded = cert != nullptr && key != nullptr && SSL_CTX_use_certificate(ctx, cert) > 0 &&
                SSL_CTX_use_PrivateKey(ctx, key) > 0;
  if (!loaded) setError(kBadCertOrKey);
  loaded = loaded && checkValidity(cert);

  // The OpenSSL context holds references of its own; the local ones and
  // the file are released on every path.
  X509_free(cert);
  EVP_PKEY_free(key);
  BIO_free(bio);
  if (!loaded) {
    SSL_CTX_free(ctx);
    ctx = nullptr;
    return false;
  }

  // Sessions go only to the shared store: OpenSSL keeps no client cache
  // of its own and never looks sessions up internally.
  SSL_CTX_set_session_cache_mode(ctx, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL_LOOKUP |
                                          SSL_SESS_CACHE_NO_INTERNAL_STORE);
  SSL_CTX_sess_set_new_cb(ctx, ssl_callback_NewSessionCacheEntry);
  SSL_CTX_sess_set_get_cb(ctx, ssl_callback_GetSessionCacheEntry);
  SSL_CTX_sess_set_remove_cb(ctx, ssl_callback_DelSessionCacheEntry);
  // Reading in the wrong format first leaves errors in the thread's queue
  // that would otherwise be reported for the next SSL call.
  ERR_clear_error();
  return true;
}

void BSSLContext::readCertificate(BIO* bio, X509** cert, EVP_PKEY** key) {
  bool pkcs12First = certificatePath->endsWith(".p12", 1);
  if (pkcs12First) {
    readPKCS12Cert(bio, password, cert, key);
  } else {
    readPEMCert(bio, ctx, cert, key);
  }
  if (*cert != nullptr && *key != nullptr) return;
  if (pkcs12First) {
    readPEMCert(bio, ctx, cert, key);
  } else {
    readPKCS12Cert(bio, password, cert, key);
  }
}

bool BSSLContext::checkValidity(X509* cert) {
  int notBefore = X509_cmp_current_time(X509_get0_notBefore(cert));
  int notAfter = X509_cmp_current_time(X509_get0_notAfter(cert));
  if (notBefore < 0 && notAfter > 0) return true;
  // A date OpenSSL cannot compare (0) fails the check without a code.
  if (notBefore > 0) {
    setError(kNotYetValid);
  } else if (notAfter < 0) {
    setError(kExpired);
  }
  return false;
}

void BSSLContext::setSocket(int fd) {
  if (ctx == nullptr || fd == 0) return;
  SSL* connection = getSSLObject();
  if (connection == nullptr) return;
  // What SSL_set_fd does, with a socket BIO whose writes never raise
  // SIGPIPE.
  BIO* bio = socketMethod() ? BIO_new(socketMethod()) : nullptr;
  if (bio == nullptr) return;
  BIO_set_fd(bio, fd, BIO_NOCLOSE);
  SSL_set_bio(connection, bio, bio);
  if (session == nullptr || !SSL_SESSION_is_resumable(session)) getSession();
  if (session != nullptr) SSL_set_session(connection, session);
  // An empty or unreadable store leaves a decoding error in the thread's
  // queue; the handshake that follows must not see it.
  ERR_clear_error();
}

SSL_SESSION* BSSLContext::getSession() {
  SSL_SESSION* found = nullptr;
  if (getLock()) {
    // The length comes from another process: only a length within the
    // data field is decoded.
    long length = mSharedContainer->sessionLength;
    if (length > 0 && length <= kMaxStoredSessionLength) {
      const unsigned char* in = mSharedContainer->sessionData;
      found = d2i_SSL_SESSION(nullptr, &in, length);
    }
    if (found != nullptr && ctx != nullptr) SSL_CTX_add_session(ctx, found);
    releaseLock();
  }
  SSL_SESSION_free(session);
  session = found;
  return session;
}

unsigned char BSSLContext::inUse() { return m_inUse; }

void BSSLContext::setInUse(unsigned char flag) {
  if (flag == m_inUse) return;
  m_inUse = flag;
  if (flag == 0 && ssl != nullptr) SSL_clear(ssl);
}

void BSSLContext::ShutdownSSL() {
  if (ssl != nullptr) SSL_set_shutdown(ssl, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
}

char* BSSLContext::getPassword() { return password->buffer(); }

int BSSLContext::PasswordCallback(char* buffer, int size, int, void* userdata) {
  if (buffer == nullptr || size < 1) return 0;
  const char* text = userdata ? static_cast<BSSLContext*>(userdata)->getPassword() : nullptr;
  if (text == nullptr) {
    buffer[0] = '\0';
    return 0;
  }
  // Bounded by OpenSSL's buffer: a longer password is cut, which fails
  // the decryption (code 100) instead of overrunning the buffer.
  int length = static_cast<int>(strlen(text));
  if (length > size) length = size;
  memcpy(buffer, text, length);
  if (length < size) buffer[length] = '\0';
  return length;
}

void BSSLContext::readPKCS12Cert(BIO* bio, BString* password, X509** cert, EVP_PKEY** key) {
  clearCertData(bio, cert, key);
  PKCS12* p12 = d2i_PKCS12_bio(bio, nullptr);
  if (p12 == nullptr) return;
  if (!PKCS12_parse(p12, password ? password->buffer() : nullptr, key, cert, nullptr)) {
    X509_free(*cert);
    EVP_PKEY_free(*key);
    *cert = nullptr;
    *key = nullptr;
  }
  PKCS12_free(p12);
}

void BSSLContext::readPEMCert(BIO* bio, SSL_CTX* ctx, X509** cert, EVP_PKEY** key) {
  clearCertData(bio, cert, key);
  pem_password_cb* callback = ctx ? SSL_CTX_get_default_passwd_cb(ctx) : nullptr;
  void* userdata = ctx ? SSL_CTX_get_default_passwd_cb_userdata(ctx) : nullptr;
  // OpenSSL's own default would prompt on the terminal for the password.
  if (callback == nullptr) callback = PasswordCallback;
  *cert = PEM_read_bio_X509(bio, nullptr, callback, userdata);
  BIO_reset(bio);
  *key = PEM_read_bio_PrivateKey(bio, nullptr, callback, userdata);
}

void BSSLContext::clearCertData(BIO* bio, X509** cert, EVP_PKEY** key) {
  X509_free(*cert);
  EVP_PKEY_free(*key);
  *cert = nullptr;
  *key = nullptr;
  BIO_reset(bio);
}
