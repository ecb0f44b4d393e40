#include <gtest/gtest.h>

#include <openssl/err.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "BSSLContext.h"
#include "BSocket.h"
#include "SessionStoreGuard.h"
#include "StoreLock.h"
#include "TestCertificates.h"
#include "TlsTestServer.h"
#include "sessionStore.h"

namespace {

const TestCertificates& certs() { return TestCertificates::shared(); }

// A session of ssl's cipher list whose DER encoding is exactly length
// bytes (padded through its host name), or null. The caller frees it.
SSL_SESSION* sessionEncodedIn(SSL* ssl, int length) {
  const unsigned char aes128gcm[] = {0xC0, 0x2B};
  for (int pad = 0; pad <= length; pad++) {
    SSL_SESSION* session = SSL_SESSION_new();
    SSL_SESSION_set_protocol_version(session, TLS1_2_VERSION);
    SSL_SESSION_set_cipher(session, SSL_CIPHER_find(ssl, aes128gcm));
    SSL_SESSION_set1_hostname(session, std::string(pad, 'h').c_str());
    if (i2d_SSL_SESSION(session, nullptr) == length) return session;
    SSL_SESSION_free(session);
  }
  return nullptr;
}

// Offers session to ssl's new-session callback the way OpenSSL does: with
// a reference of its own, released by OpenSSL when the callback returns 0.
int offer(SSL* ssl, SSL_SESSION* session) {
  SSL_SESSION_up_ref(session);
  int result = ssl_callback_NewSessionCacheEntry(ssl, session);
  if (result == 0) SSL_SESSION_free(session);
  return result;
}

// Runs one handshake with ctx against server, reads the server's greeting
// (TLS 1.3 tickets arrive with it) and ends it as the client does.
bool handshakeOnce(BSSLContext& ctx, TlsTestServer& server) {
  BSocket socket;
  bool connected = connectTls(ctx, socket, server.port());
  if (connected) {
    socket.setBlocking();
    char greeting[16];
    connected = SSL_read(ctx.getSSLObject(), greeting, sizeof greeting) > 0;
  }
  closeTls(ctx, socket);
  return connected;
}

void greet(SSL* ssl) { TlsTestServer::send(ssl, "hello"); }

SharedSessionSegment* segmentOf(const std::string& path) { return storeSegment(sessionStoreFor(path.c_str())); }

std::vector<unsigned char> storedBytes(const SharedSessionSegment* segment) {
  int length = segment->sessionLength > 0 ? segment->sessionLength : 0;
  return std::vector<unsigned char>(segment->sessionData, segment->sessionData + length);
}

// The session's DER encoding.
std::vector<unsigned char> encoded(SSL_SESSION* session) {
  std::vector<unsigned char> bytes(i2d_SSL_SESSION(session, nullptr));
  unsigned char* out = bytes.data();
  i2d_SSL_SESSION(session, &out);
  return bytes;
}

// A server's ClientHello callback that refuses every hello with a fatal
// alert while *refuse (a std::atomic<bool>) is true.
int refuseWhenAsked(SSL*, int* alert, void* refuse) {
  if (!static_cast<std::atomic<bool>*>(refuse)->load()) return SSL_CLIENT_HELLO_SUCCESS;
  *alert = SSL_AD_HANDSHAKE_FAILURE;
  return SSL_CLIENT_HELLO_ERROR;
}

// Writes an application-data record that no key decrypts straight onto
// the connection's socket: the client answers it with a fatal alert.
void sendUndecryptableRecord(SSL* ssl) {
  unsigned char record[5 + 32] = {0x17, 0x03, 0x03, 0x00, 0x20};
  memset(record + 5, 0x41, 32);
  ASSERT_EQ(write(SSL_get_fd(ssl), record, sizeof record), static_cast<ssize_t>(sizeof record));
}

class SessionStoreTest : public ::testing::Test {
 protected:
  SessionStoreGuard m_store{certs()};
};

}  // namespace

// A missing file makes no store; a certificate has one segment, its
// owner's only, named by its path cut to the segment's 127 bytes.
TEST_F(SessionStoreTest, EachCertificateHasOneSegmentForItsOwnerOnly) {
  const std::string missingPath = certs().dir() + "/missing.pem";
  BSSLContext missing(missingPath.c_str(), "", "");
  EXPECT_FALSE(sessionStoreAttached());
  EXPECT_FALSE(StoreLock(sessionStoreFor(missingPath.c_str())).held());

  const std::string path = certs().clientPem();
  BSSLContext first(path.c_str(), "", "");
  SharedSessionSegment* segment = segmentOf(path);
  ASSERT_NE(segment, nullptr);
  EXPECT_STREQ(segment->certificatePath, path.c_str());
  EXPECT_EQ(segment->lockFlag, 0);
  shmid_ds info;
  ASSERT_EQ(shmctl(segment->segmentId, IPC_STAT, &info), 0);
  EXPECT_EQ(info.shm_perm.mode & 0777, 0600u) << "no other user reads the master secret";
  BSSLContext again(path.c_str(), "", "");
  EXPECT_EQ(segmentOf(path), segment);

  std::string dir = certs().dir();
  while (dir.size() < 200) dir += "/deeper-directory";
  std::filesystem::create_directories(dir);
  std::string longPath = dir + "/client.pem";
  std::filesystem::copy_file(path, longPath);
  {
    BSSLContext cut(longPath.c_str(), "", "");
    ASSERT_NE(segmentOf(longPath), nullptr);
    EXPECT_EQ(std::string(segmentOf(longPath)->certificatePath), longPath.substr(0, 127));
  }
  // The segment is keyed by a file outside the guard's directory listing.
  int id = SessionStoreGuard::segmentOf(longPath);
  if (id != -1) shmctl(id, IPC_RMID, nullptr);
}

// Sessions of up to 4096 bytes are stored, under the lock only; a removal
// clears the stored session only when it names that session and its
// context has a store (clearing itself is seen after fatal alerts below).
TEST_F(SessionStoreTest, StoresSessionsOfUpTo4096Bytes) {
  BSSLContext ctx(certs().clientPem().c_str(), certs().password().c_str(), "");
  SSL* ssl = ctx.getSSLObject();
  ASSERT_NE(ssl, nullptr);
  SharedSessionSegment* segment = segmentOf(certs().clientPem());
  ASSERT_NE(segment, nullptr);
  SSL_SESSION* fits = sessionEncodedIn(ssl, 4096);
  SSL_SESSION* tooLong = sessionEncodedIn(ssl, 4097);
  SSL_SESSION* other = sessionEncodedIn(ssl, 300);
  ASSERT_TRUE(fits && tooLong && other);

  EXPECT_EQ(offer(ssl, fits), 0);
  EXPECT_EQ(segment->sessionLength, 4096);
  EXPECT_EQ(storedBytes(segment), encoded(fits));

  EXPECT_EQ(offer(ssl, tooLong), -1);
  EXPECT_EQ(segment->sessionLength, 4096) << "the stored session stays";
  EXPECT_EQ(segment->lockFlag, 0) << "the lock is released on refusal";
  SSL_SESSION* readBack = ctx.getSession();
  ASSERT_NE(readBack, nullptr);
  EXPECT_EQ(i2d_SSL_SESSION(readBack, nullptr), 4096);
  EXPECT_EQ(segment->lockFlag, 0);

  // Removals as on a failed connection, with an error on the thread's queue.
  ERR_raise(ERR_LIB_SSL, SSL_R_SSL_HANDSHAKE_FAILURE);
  const unsigned char otherId[] = "another session id";
  SSL_SESSION_set1_id(other, otherId, sizeof otherId - 1);
  ssl_callback_DelSessionCacheEntry(SSL_get_SSL_CTX(ssl), other);
  EXPECT_EQ(segment->sessionLength, 4096) << "another session (another ID, no ticket)";
  ssl_callback_DelSessionCacheEntry(nullptr, readBack);
  EXPECT_EQ(segment->sessionLength, 4096) << "a context without a store";
  ERR_clear_error();

  segment->lockFlag = 1;
  EXPECT_EQ(offer(ssl, other), -1) << "no store without the lock";
  segment->lockFlag = 0;
  EXPECT_EQ(offer(nullptr, other), -1) << "no store without a context to name it";
  EXPECT_EQ(segment->sessionLength, 4096);

  EXPECT_EQ(ssl_callback_GetSessionCacheEntry(nullptr, nullptr, 0, nullptr), nullptr);
  for (SSL_SESSION* s : {fits, tooLong, other}) SSL_SESSION_free(s);
}

namespace {

std::atomic<int> gGatewayVerifications{0};

// A certificate store's verify callback that counts verifications: each
// ends with the gateway's own certificate, at depth 0.
int countGatewayVerifications(int ok, X509_STORE_CTX* check) {
  if (X509_STORE_CTX_get_error_depth(check) == 0) gGatewayVerifications++;
  return ok;
}

X509* gatewayOfStored(SessionStore* store, uint64_t* generation) {
  SSL_SESSION* copy = copyStoredSession(store, generation);
  X509* gateway = copy ? SSL_SESSION_get0_peer(copy) : nullptr;
  SSL_SESSION_free(copy);  // the store's own session keeps the certificate
  return gateway;
}

}  // namespace

// Under TLS 1.3 every connection stores new tickets. The next purchase in
// the process takes the session this process stored without decoding it
// (its gateway certificate is still the connection's object, not a new
// one decoded from the bytes), and the gateway certificate verified once
// is not verified again for the new sessions. Bytes another process wrote
// are decoded once; another gateway certificate, or the same one for
// another CA file or host, is verified on its own.
TEST_F(SessionStoreTest, NewTicketsFromTheSameGatewayAreNeitherDecodedNorVerifiedAgain) {
  TlsTestServer server(certs(), greet);
  BSSLContext ctx(certs().clientPem().c_str(), certs().password().c_str(), certs().caCert().c_str());
  SSL* ssl = ctx.getSSLObject();
  ASSERT_NE(ssl, nullptr);
  SSL_set_min_proto_version(ssl, TLS1_3_VERSION);
  X509_STORE_set_verify_cb(SSL_CTX_get_cert_store(SSL_get_SSL_CTX(ssl)), countGatewayVerifications);
  SessionStore* store = sessionStoreFor(certs().clientPem().c_str());
  SharedSessionSegment* segment = storeSegment(store);
  gGatewayVerifications = 0;

  ASSERT_TRUE(handshakeOnce(ctx, server));
  EXPECT_EQ(gGatewayVerifications, 1) << "the full handshake";
  uint64_t generation = 0, now = 0;
  X509* gateway = gatewayOfStored(store, &generation);
  ASSERT_NE(gateway, nullptr);
  std::vector<unsigned char> previous = storedBytes(segment);
  for (int purchase = 2; purchase <= 4; purchase++) {
    SCOPED_TRACE(purchase);
    ASSERT_TRUE(handshakeOnce(ctx, server));
    EXPECT_EQ(gGatewayVerifications, 2) << "the stored session's gateway, verified at the first resumption only";
    EXPECT_NE(storedBytes(segment), previous) << "new tickets were stored";
    previous = storedBytes(segment);
    EXPECT_EQ(gatewayOfStored(store, &now), gateway) << "not decoded";
    EXPECT_EQ(now, generation);
  }
  SSL_SESSION* copies[] = {copyStoredSession(store), copyStoredSession(store)};
  EXPECT_NE(copies[0], copies[1]) << "each caller gets a copy of its own";
  EXPECT_EQ(encoded(copies[0]), storedBytes(segment)) << "of the newest stored session";
  for (SSL_SESSION* copy : copies) SSL_SESSION_free(copy);
  int verifications = 0;
  auto verify = [&verifications] { return ++verifications > 0; };
  for (const char* verifier : {"ca\nhost", "ca\nhost", "other ca\nhost"}) {
    EXPECT_TRUE(storedSessionVerdict(store, generation, verifier, verify));
  }
  EXPECT_EQ(verifications, 2) << "once per CA file and host";

  // Another process's bytes: the same gateway in a session of its own.
  SSL_SESSION* theirs = copyStoredSession(store);
  ASSERT_NE(theirs, nullptr);
  SSL_SESSION_set_timeout(theirs, SSL_SESSION_get_timeout(theirs) - 1);
  std::vector<unsigned char> bytes = encoded(theirs);
  SSL_SESSION_free(theirs);
  ASSERT_LE(bytes.size(), sizeof segment->sessionData);
  {
    StoreLock lock(store);
    ASSERT_TRUE(lock.held());
    memcpy(segment->sessionData, bytes.data(), bytes.size());
    segment->sessionLength = static_cast<int32_t>(bytes.size());
  }
  X509* decoded = gatewayOfStored(store, &now);
  EXPECT_NE(decoded, gateway) << "decoded";
  EXPECT_EQ(now, generation) << "the same gateway certificate";
  EXPECT_EQ(gatewayOfStored(store, &now), decoded) << "decoded once";
  ASSERT_TRUE(handshakeOnce(ctx, server));
  EXPECT_EQ(gGatewayVerifications, 2) << "its verdict stands";

  SSL_SESSION* unverified = sessionEncodedIn(ssl, 300);
  ASSERT_EQ(offer(ssl, unverified), 0);
  EXPECT_NE(gatewayOfStored(store, &now), gateway);
  EXPECT_NE(now, generation) << "a session without that gateway certificate";
  SSL_SESSION_free(unverified);
  X509_STORE_set_verify_cb(SSL_CTX_get_cert_store(SSL_get_SSL_CTX(ssl)), nullptr);

  auto seen = server.waitForConnections(5);
  ASSERT_EQ(seen.size(), 5u);
  for (size_t i = 1; i < seen.size(); i++) EXPECT_TRUE(seen[i].resumed) << i;
}

// OpenSSL removes the session it has just resumed (a TLS 1.3 ticket is
// meant for one use) before the new tickets arrive with the reply: the
// store keeps it meanwhile, so that another process starting then still
// resumes. A connection that fails with a fatal alert, received or sent,
// drops the stored session it was using.
TEST_F(SessionStoreTest, ResumedConnectionsKeepTheStoredSessionAndFailedOnesDropIt) {
  for (int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    SCOPED_TRACE(version);
    SessionStoreGuard fresh(certs());
    std::atomic<bool> refuse{false}, garble{false};
    TlsTestServer server(
        certs(),
        [&garble](SSL* ssl) { garble ? sendUndecryptableRecord(ssl) : greet(ssl); },
        false, [&refuse](SSL_CTX* ctx) { SSL_CTX_set_client_hello_cb(ctx, refuseWhenAsked, &refuse); });
    BSSLContext ctx(certs().clientPem().c_str(), certs().password().c_str(), "");
    SSL_set_max_proto_version(ctx.getSSLObject(), version);
    ASSERT_TRUE(handshakeOnce(ctx, server));
    SharedSessionSegment* segment = segmentOf(certs().clientPem());
    std::vector<unsigned char> stored = storedBytes(segment);
    ASSERT_FALSE(stored.empty());

    BSocket socket;
    ASSERT_TRUE(connectTls(ctx, socket, server.port()));
    EXPECT_EQ(SSL_session_reused(ctx.getSSLObject()), 1);
    EXPECT_EQ(storedBytes(segment), stored) << "kept between the handshake and the new session";
    closeTls(ctx, socket);
    ASSERT_TRUE(handshakeOnce(ctx, server));
    ASSERT_GT(segment->sessionLength, 0);

    refuse = true;
    EXPECT_FALSE(handshakeOnce(ctx, server));
    EXPECT_EQ(segment->sessionLength, 0) << "dropped after a fatal alert received";
    refuse = false;

    ASSERT_TRUE(handshakeOnce(ctx, server));
    ASSERT_GT(segment->sessionLength, 0);
    garble = true;
    EXPECT_FALSE(handshakeOnce(ctx, server));
    EXPECT_EQ(segment->sessionLength, 0) << "dropped after a fatal alert sent";

    auto seen = server.waitForConnections(6);
    ASSERT_EQ(seen.size(), 6u);
    EXPECT_TRUE(seen[1].resumed && seen[2].resumed && seen[5].resumed) << "the stored session was in use";
    EXPECT_FALSE(seen[3].handshake);
    EXPECT_FALSE(seen[4].resumed) << "a full handshake after the refusal";
  }
}
