#include "BSSLContext.h"

#include <openssl/decoder.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

#include "BString.h"
#include "StoreLock.h"
#include "certificateCache.h"
#include "errorQueue.h"
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

// OpenSSL's socket BIO with the write above; made on first use, freed by
// releaseSslProcessState().
std::mutex gSocketMethodMutex;
BIO_METHOD* gSocketMethod = nullptr;

BIO_METHOD* socketMethod() {
  std::lock_guard<std::mutex> guard(gSocketMethodMutex);
  if (gSocketMethod == nullptr) {
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
    gSocketMethod = m;
  }
  return gSocketMethod;
}

// Older tools (OpenSSL 1.x's default export, "openssl pkcs12 -legacy",
// older Java keystores) encrypt PKCS#12 files with RC2-40 or 3DES, which
// OpenSSL 3 reads only through its legacy provider. That provider is
// loaded, in a library context of the library's own (see
// certificateCache.h), only when a file fails to read without it.
// Makes the legacy reading context this thread's default while a
// certificate file is read. PKCS12_parse and the PEM readers take no
// library context of their own, and the default is per thread, so other
// threads and the application's later calls are not affected.
class CertificateReadingScope {
 public:
  CertificateReadingScope() : m_previous(nullptr) {
    OSSL_LIB_CTX* context = legacyReadingContext();
    if (context != nullptr) m_previous = OSSL_LIB_CTX_set0_default(context);
  }
  ~CertificateReadingScope() {
    if (m_previous != nullptr) OSSL_LIB_CTX_set0_default(m_previous);
  }
  CertificateReadingScope(const CertificateReadingScope&) = delete;
  CertificateReadingScope& operator=(const CertificateReadingScope&) = delete;

 private:
  OSSL_LIB_CTX* m_previous;
};

// Whether the gateway certificate of session verifies for ssl. A
// session carries only the gateway's own certificate, so when the context
// verifies gateways that certificate must verify again against this
// context's CA file and name this connection's server (when the name is
// checked); otherwise a session stored by a process with another CA file,
// or with none, would skip verification altogether.
bool sessionTrusted(SSL* ssl, SSL_SESSION* session) {
  SSL_CTX* ctx = SSL_get_SSL_CTX(ssl);
  X509* gateway = SSL_SESSION_get0_peer(session);
  if (gateway == nullptr) return false;
  X509_STORE_CTX* check = X509_STORE_CTX_new();
  bool trusted = check != nullptr && X509_STORE_CTX_init(check, SSL_CTX_get_cert_store(ctx), gateway, nullptr) == 1 &&
                 X509_STORE_CTX_set_default(check, "ssl_server") == 1 &&
                 X509_VERIFY_PARAM_set1(X509_STORE_CTX_get0_param(check), SSL_get0_param(ssl)) == 1 &&
                 X509_verify_cert(check) == 1;
  X509_STORE_CTX_free(check);
  return trusted;
}

// Reads the first private key among bio's PEM blocks, from where bio
// stands, decrypting it with the given passphrase (none when length is 0).
// The passphrase is handed over as text, never as a password callback:
// OpenSSL 3.0 wraps a callback in a UI method whose data it fails to free
// when the key is read under another thread-default library context than
// the first such read of the process, which the legacy reading context
// (CertificateReadingScope) would be. Returns a new key or null.
EVP_PKEY* readPEMKey(BIO* bio, const char* passphrase, size_t length) {
  EVP_PKEY* key = nullptr;
  OSSL_DECODER_CTX* decoder =
      OSSL_DECODER_CTX_new_for_pkey(&key, "PEM", nullptr, nullptr, EVP_PKEY_KEYPAIR, nullptr, nullptr);
  if (decoder == nullptr) return nullptr;
  if (length > 0) OSSL_DECODER_CTX_set_passphrase(decoder, reinterpret_cast<const unsigned char*>(passphrase), length);
  // Each attempt takes one PEM block, so blocks that hold no key (the
  // certificate, before or after it) are passed over; a read that does
  // not move on ends the search.
  long at = BIO_tell(bio);
  while (key == nullptr && !BIO_eof(bio)) {
    OSSL_DECODER_from_bio(decoder, bio);
    long next = BIO_tell(bio);
    if (next <= at) break;
    at = next;
  }
  OSSL_DECODER_CTX_free(decoder);
  return key;
}

}  // namespace

BSSLContext::BSSLContext(const char* certificatePath, const char* password, const char* caFile)
    : m_inUse(0),
      certificatePath(copyText(certificatePath, "ssl certificate path")),
      password(copyText(password, "ssl certificate password")),
      caFile(copyText(caFile, "ssl ca file")),
      ssl(nullptr),
      ctx(nullptr),
      session(nullptr),
      segmentId(0) {
  sessionStoreFor(certificatePath, &segmentId);
}

BSSLContext::~BSSLContext() {
  trackDelete(certificatePath);
  trackDelete(password);
  trackDelete(caFile);
  SSL_SESSION_free(session);
  session = nullptr;
  if (ssl != nullptr) {
    // Marked shut without an alert: the connection ended long ago.
    SSL_set_shutdown(ssl, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
    SSL_free(ssl);
    ssl = nullptr;
  }
  if (ctx != nullptr) {
    // Freeing the context empties its session cache; a context that goes
    // away with its process says nothing about the stored session.
    SSL_CTX_sess_set_remove_cb(ctx, nullptr);
    SSL_CTX_flush_sessions(ctx, time(nullptr));
    SSL_CTX_free(ctx);
    ctx = nullptr;
  }
  // The certificate's session store stays attached: other contexts of the
  // same certificate may still use it. Nothing process-wide is unloaded
  // here: OpenSSL's configuration, strings and tables may be the
  // application's too, and OpenSSL frees its own at process exit.
}

void releaseSslProcessState() {
  forgetParsedCertificates();
  detachSessionStore();
  std::lock_guard<std::mutex> guard(gSocketMethodMutex);
  BIO_meth_free(gSocketMethod);
  gSocketMethod = nullptr;
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
  // TLS 1.2 or 1.3, whichever the gateway prefers; older versions stay
  // refused.
  SSL_CTX_set_min_proto_version(ctx, TLS1_2_VERSION);
  // OpenSSL reads whatever has arrived in one call instead of a record's
  // header and body apart: half the reads per exchange. A record it holds
  // is still handed out before a read reports that it wants more.
  SSL_CTX_set_read_ahead(ctx, 1);
  // Without a CA file the server's certificate is not verified.
  // A CA file that does not load leaves the context without trust
  // anchors; the handshake then refuses to run (caFileUnloadable()) and
  // says which file it was, rather than failing on the gateway's
  // certificate.
  m_caFileUnloadable = false;
  if (caFile->length() > 0) {
    SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER, nullptr);
    m_caFileUnloadable = SSL_CTX_load_verify_locations(ctx, caFile->buffer(), nullptr) != 1;
  }
  SSL_CTX_set_default_passwd_cb_userdata(ctx, this);
  SSL_CTX_set_default_passwd_cb(ctx, PasswordCallback);

  // Parsed once per process for every context of the same file and
  // password; the reader runs only for a file not parsed yet or changed.
  std::shared_ptr<const ParsedCertificate> parsed = sharedCertificate(
      certificatePath->buffer() ? certificatePath->buffer() : "", password->buffer() ? password->buffer() : "",
      [this](BIO* file, ParsedCertificate* out) { readCertificate(file, &out->cert, &out->key, &out->chain); });

  // The CA certificates that came with the client certificate are sent as
  // its chain, so that a gateway trusting only the root accepts a
  // certificate issued by an intermediate. A key that does not match the
  // certificate fails here. The context takes references of its own.
  bool loaded = parsed != nullptr &&
                SSL_CTX_use_cert_and_key(ctx, parsed->cert, parsed->key, parsed->chain, 1) == 1;
  if (!loaded) setError(kBadCertOrKey);
  loaded = loaded && checkValidity(parsed->cert);
  if (!loaded) {
    SSL_CTX_free(ctx);
    ctx = nullptr;
    clearErrorQueue();
    return false;
  }

  // Sessions go only to this certificate's shared store: OpenSSL keeps no
  // client cache of its own and never looks sessions up internally.
  SSL_CTX_set_session_cache_mode(ctx, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL_LOOKUP |
                                          SSL_SESS_CACHE_NO_INTERNAL_STORE);
  bindSessionStore(ctx, sessionStoreFor(certificatePath->buffer() ? certificatePath->buffer() : ""));
  SSL_CTX_sess_set_new_cb(ctx, ssl_callback_NewSessionCacheEntry);
  SSL_CTX_sess_set_get_cb(ctx, ssl_callback_GetSessionCacheEntry);
  SSL_CTX_sess_set_remove_cb(ctx, ssl_callback_DelSessionCacheEntry);
  // Reading in the wrong format first leaves errors in the thread's queue
  // that would otherwise be reported for the next SSL call.
  clearErrorQueue();
  return true;
}

void BSSLContext::readCertificate(BIO* bio, X509** cert, EVP_PKEY** key, STACK_OF(X509)** chain) {
  bool pkcs12First = certificatePath->endsWith(".p12", 1);
  auto readEitherFormat = [&] {
    for (int attempt = 0; attempt < 2; attempt++) {
      sk_X509_pop_free(*chain, X509_free);
      *chain = nullptr;
      if (pkcs12First == (attempt == 0)) {
        readPKCS12(bio, password, cert, key, chain);
      } else {
        readPEMCert(bio, ctx, cert, key);
        if (*cert != nullptr && *key != nullptr) *chain = readPEMChain(bio);
      }
      if (*cert != nullptr && *key != nullptr) return true;
    }
    return false;
  };
  if (readEitherFormat()) return;
  // Only a file that needs it (older PKCS#12 encryption) costs the legacy
  // provider; a wrong password pays a second attempt.
  CertificateReadingScope scope;
  readEitherFormat();
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

void BSSLContext::setSocket(int fd) { bindSocket(fd, true); }

void BSSLContext::bindSocket(int fd, bool offerStoredSession) {
  if (ctx == nullptr || fd == 0) return;
  SSL* connection = getSSLObject();
  if (connection == nullptr) return;
  // What SSL_set_fd does, with a socket BIO whose writes never raise
  // SIGPIPE.
  BIO* bio = socketMethod() ? BIO_new(socketMethod()) : nullptr;
  if (bio == nullptr) return;
  BIO_set_fd(bio, fd, BIO_NOCLOSE);
  SSL_set_bio(connection, bio, bio);
  // The store holds the most recent session of the certificate, whichever
  // process or context made it; a TLS 1.3 ticket offered before may have
  // been single-use, so the held one is never offered again as it is.
  SSL_SESSION_free(session);
  session = nullptr;
  if (offerStoredSession) {
    uint64_t generation = 0;
    session = copyStoredSession(storeOfThisCertificate(), &generation);
    if (session != nullptr && !offerable(connection, generation)) {
      SSL_SESSION_free(session);
      session = nullptr;
    }
  }
  // Also forgets the previous connection's session when none is offered.
  SSL_set_session(connection, session);
  // An empty or unreadable store, or a stored session that failed to
  // verify, leaves errors in the thread's queue; the handshake that
  // follows must not see them.
  clearErrorQueue();
}

bool BSSLContext::offerable(SSL* connection, uint64_t generation) {
  if (!SSL_SESSION_is_resumable(session)) return false;
  if ((SSL_CTX_get_verify_mode(ctx) & SSL_VERIFY_PEER) == 0) return true;
  // The gateway's certificate is verified once per certificate, CA file
  // and expected name in this process, not once per purchase nor once per
  // session (each TLS 1.3 connection brings new ones).
  X509_VERIFY_PARAM* param = SSL_get0_param(connection);
  const char* host = X509_VERIFY_PARAM_get0_host(param, 0);
  char* ip = X509_VERIFY_PARAM_get1_ip_asc(param);
  std::string verifier = std::string(caFile->buffer() ? caFile->buffer() : "") + '\n' + (host ? host : "") + '\n' +
                         (ip ? ip : "");
  OPENSSL_free(ip);
  SSL_SESSION* held = session;
  return storedSessionVerdict(storeOfThisCertificate(), generation, verifier,
                              [connection, held] { return sessionTrusted(connection, held); });
}

SessionStore* BSSLContext::storeOfThisCertificate() {
  return sessionStoreFor(certificatePath->buffer() ? certificatePath->buffer() : "");
}

SSL_SESSION* BSSLContext::getSession() {
  // The session is not added to OpenSSL's own cache: that cache is never
  // looked up, and a copy per transaction would only grow it.
  SSL_SESSION* found = copyStoredSession(storeOfThisCertificate());
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
  if (ssl == nullptr) return;
  // One close_notify, without waiting for the gateway's: servers that
  // cache sessions by ID drop a session whose connection ended without
  // it. A gateway that has gone costs a failed write (never SIGPIPE, see
  // writeWithoutSignal), and the socket is non-blocking by now, so
  // nothing waits.
  if (SSL_is_init_finished(ssl)) SSL_shutdown(ssl);
  clearErrorQueue();
  // Marked closed in both directions, so that clearing the connection for
  // the next one does not take its session for a bad one.
  SSL_set_shutdown(ssl, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
}

const char* BSSLContext::caFileUnloadable() {
  return ctx != nullptr && m_caFileUnloadable ? caFile->buffer() : nullptr;
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
  readPKCS12(bio, password, cert, key, nullptr);
}

void BSSLContext::readPKCS12(BIO* bio, BString* password, X509** cert, EVP_PKEY** key,
                             STACK_OF(X509)** chain) {
  clearCertData(bio, cert, key);
  PKCS12* p12 = d2i_PKCS12_bio(bio, nullptr);
  if (p12 == nullptr) return;
  const char* text = password ? password->buffer() : nullptr;
  // PKCS12_parse insists on a MAC whenever a password is given, but some
  // tools write files without one. Such a file gets a MAC computed here,
  // in memory, with the same password, so that it reads like any other.
  // An empty password also opens files made without one.
  if (text != nullptr && *text != '\0' && !PKCS12_mac_present(p12)) {
    PKCS12_set_mac(p12, text, -1, nullptr, 0, 1, nullptr);
  }
  if (!PKCS12_parse(p12, text, key, cert, chain)) {
    X509_free(*cert);
    EVP_PKEY_free(*key);
    *cert = nullptr;
    *key = nullptr;
  }
  PKCS12_free(p12);
}

STACK_OF(X509)* BSSLContext::readPEMChain(BIO* bio) {
  STACK_OF(X509)* chain = sk_X509_new_null();
  BIO_reset(bio);
  X509* leaf = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
  X509_free(leaf);
  while (chain != nullptr && leaf != nullptr) {
    X509* next = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
    if (next == nullptr || !sk_X509_push(chain, next)) {
      X509_free(next);
      break;
    }
  }
  // The read that found no further certificate queues an error.
  clearErrorQueue();
  return chain;
}

void BSSLContext::readPEMCert(BIO* bio, SSL_CTX* ctx, X509** cert, EVP_PKEY** key) {
  clearCertData(bio, cert, key);
  pem_password_cb* callback = ctx ? SSL_CTX_get_default_passwd_cb(ctx) : nullptr;
  void* userdata = ctx ? SSL_CTX_get_default_passwd_cb_userdata(ctx) : nullptr;
  // OpenSSL's own default would prompt on the terminal for the password.
  if (callback == nullptr) callback = PasswordCallback;
  *cert = PEM_read_bio_X509(bio, nullptr, callback, userdata);
  BIO_reset(bio);
  char passphrase[PEM_BUFSIZE];
  int length = callback(passphrase, sizeof passphrase, 0, userdata);
  *key = readPEMKey(bio, passphrase, length > 0 ? std::min<size_t>(length, sizeof passphrase) : 0);
  OPENSSL_cleanse(passphrase, sizeof passphrase);
}

void BSSLContext::clearCertData(BIO* bio, X509** cert, EVP_PKEY** key) {
  X509_free(*cert);
  EVP_PKEY_free(*key);
  *cert = nullptr;
  *key = nullptr;
  BIO_reset(bio);
}
