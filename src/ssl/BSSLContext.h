#ifndef ZELVAN_BSSLCONTEXT_H_
#define ZELVAN_BSSLCONTEXT_H_

#include <openssl/ssl.h>

#include <cstdint>

#include "BNetObject.h"

class BString;
struct SessionStore;

// Set once OpenSSL has been initialised for the process; never cleared.
// Written once, under initSSL()'s one-time guard.
extern unsigned char kSSLInited;

// Everything one SSL client connection needs: an OpenSSL context loaded
// with the merchant's client certificate and key (PEM or PKCS#12), the
// optional CA file that server certificates are verified against, the
// connection object and the session to resume. Contexts are pooled (see
// sslPool.h) and reused connection after connection: the holder asks for
// getSSLObject(), binds it to a connected socket with setSocket(), runs
// SSL_connect itself, exchanges data, then calls ShutdownSSL() and
// setInUse(0).
//
// TLS 1.2 and 1.3 are negotiated. Sessions are kept only in the shared
// store of the context's certificate (sessionStore.h).
//
// Load failures leave an error code (see BNetObject): 100 certificate, key
// or password unusable, 101 certificate not yet valid, 102 expired.
// Used by one holder at a time.
class BSSLContext : public BNetObject {
 public:
  // Copies the three texts (null reads as empty). Attaches the session
  // store of certificatePath when the process has not attached it yet.
  // Loads nothing.
  BSSLContext(const char* certificatePath, const char* password, const char* caFile);
  BSSLContext(const BSSLContext&) = delete;
  BSSLContext& operator=(const BSSLContext&) = delete;
  // Frees the session, the OpenSSL context and connection. Process-wide
  // OpenSSL state (the application's too) is left alone. The session
  // store stays attached.
  ~BSSLContext() override;

  // "BNetObject:BSSLContext".
  const char* classType() override;
  static const char* staticType();

  // Initialises the OpenSSL library once per process (kSSLInited); safe
  // when threads call it at once.
  static void initSSL();

  // The connection object, built with the OpenSSL context on first use:
  // loads certificate, key and the CA certificates that come with them
  // (both formats are tried; a ".p12" name only decides which comes
  // first; legacy PKCS#12 encryption is read too), checks the
  // certificate's validity dates, and, when a CA file is set, requires the
  // server's certificate to verify against it. Returns null on failure, with code 100, 101 or 102
  // for an unusable certificate; the next call tries again. A CA file
  // that cannot be loaded does not fail this call: every handshake fails
  // instead (see caFileUnloadable()). Owned by the context.
  SSL* getSSLObject();

  // Binds the connection object to connected descriptor fd and offers the
  // session in the certificate's shared store for resumption. When the
  // context verifies gateways, the session is offered only when its
  // gateway certificate verifies against the CA file and names the server
  // the connection was set up for (see sslSetPeer()); otherwise the
  // handshake is a full one. Writes on the connection to a peer that has
  // gone fail instead of raising SIGPIPE. Nothing when the context is not
  // loaded or fd is 0.
  void setSocket(int fd);
  // setSocket(), offering the stored session only when offerStoredSession
  // is true; otherwise the handshake is a full one.
  void bindSocket(int fd, bool offerStoredSession);

  // Reads the stored session from the certificate's shared store and makes
  // it the session to offer, releasing the one held. The store is decoded
  // only when it changed since this process last read it. Returns it
  // (owned by the context), or null when the store is empty, unreadable
  // or locked; the held session is then null.
  SSL_SESSION* getSession();

  // 1 while a caller holds the context.
  unsigned char inUse();
  // Stores flag; when it turns 0 the connection object is cleared for the
  // next connection. Setting the flag it already has does nothing.
  void setInUse(unsigned char flag);

  // Sends close_notify once when a handshake completed (never waiting for
  // the gateway's), then marks the connection closed in both directions
  // so that OpenSSL does not treat the session as bad.
  void ShutdownSSL();

  // The path of the CA file when one is set and could not be loaded into
  // the loaded context (missing, unreadable, no certificate in it); null
  // otherwise. No handshake may run while it is set: the gateway could
  // not be verified. Owned by the context.
  const char* caFileUnloadable();

  // The password's text, owned by the context; null when it is empty.
  char* getPassword();

  // OpenSSL's password callback; userdata is the BSSLContext. Copies the
  // password into buffer, at most size bytes (NUL-terminated when it
  // fits), and returns the number of bytes copied; 0 and an empty text
  // without a context or password.
  static int PasswordCallback(char* buffer, int size, int rwflag, void* userdata);

  // Read certificate and key from bio into *cert and *key, which receive
  // new references (the caller frees them) or null. Whatever they held is
  // freed first and the file rewound. readPKCS12Cert decrypts with
  // password (no chain is kept); readPEMCert reads both from the same PEM
  // file, in either order, asking ctx's password callback once for the
  // password of an encrypted key.
  void readPKCS12Cert(BIO* bio, BString* password, X509** cert, EVP_PKEY** key);
  void readPEMCert(BIO* bio, SSL_CTX* ctx, X509** cert, EVP_PKEY** key);

  // Frees and nulls *cert and *key and rewinds bio.
  void clearCertData(BIO* bio, X509** cert, EVP_PKEY** key);

 protected:
  unsigned char m_inUse;
  BString* certificatePath;
  BString* password;
  BString* caFile;
  SSL* ssl;
  SSL_CTX* ctx;
  SSL_SESSION* session;
  // Segment identifier, filled when this context attached the store.
  int segmentId;

 private:
  // Set by loadContext() when the CA file could not be loaded.
  bool m_caFileUnloadable = false;

  // Whether the held session, whose gateway certificate is of the store's
  // generation, may be offered on connection: resumable, and its gateway certificate trusted as the
  // context requires.
  bool offerable(SSL* connection, uint64_t generation);
  // The session store of the context's certificate.
  SessionStore* storeOfThisCertificate();
  // Builds and loads ctx; false (ctx null, error code set) on failure.
  bool loadContext();
  // Reads certificate, key and chain in the format the file name suggests,
  // then in the other when either is missing. *chain receives a new stack
  // (the caller frees it) or null.
  void readCertificate(BIO* bio, X509** cert, EVP_PKEY** key, STACK_OF(X509)** chain);
  // readPKCS12Cert, keeping the file's CA certificates in *chain when
  // chain is not null.
  void readPKCS12(BIO* bio, BString* password, X509** cert, EVP_PKEY** key, STACK_OF(X509)** chain);
  // Every certificate of a PEM file after the first, in file order, in a
  // new stack that the caller frees.
  static STACK_OF(X509)* readPEMChain(BIO* bio);
  // Sets code 101 or 102 and returns false unless cert is valid now.
  bool checkValidity(X509* cert);
};

// Frees what the SSL layer made for the process as a whole: the parsed
// certificates, the legacy reading context, the socket method and the
// session stores' attachments and decoded sessions. Everything is made
// again on next use. Run when the pool goes (free_client(), and so when
// the library is unloaded), with no context left.
void releaseSslProcessState();

#endif  // ZELVAN_BSSLCONTEXT_H_
