#include <gtest/gtest.h>

#include <sys/ipc.h>
#include <sys/shm.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "BSSLContext.h"
#include "BSocket.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TlsTestServer.h"
#include "sessionStore.h"

namespace {

const TestCertificates& certs() { return TestCertificates::shared(); }

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

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

// Offers session to the new-session callback the way OpenSSL does: with a
// reference of its own, released by OpenSSL when the callback returns 0.
int offer(SSL_SESSION* session) {
  SSL_SESSION_up_ref(session);
  int result = ssl_callback_NewSessionCacheEntry(nullptr, session);
  if (result == 0) SSL_SESSION_free(session);
  return result;
}

// Runs one handshake with ctx against server and ends it as the client does.
bool handshakeOnce(BSSLContext& ctx, TlsTestServer& server) {
  BSocket socket;
  bool connected = connectTls(ctx, socket, server.port());
  closeTls(ctx, socket);
  return connected;
}

class SessionStoreTest : public ::testing::Test {
 protected:
  SessionStoreGuard m_store{certs()};
};

}  // namespace

TEST_F(SessionStoreTest, FirstContextAttachesTheSegmentOfItsCertificate) {
  const std::string path = certs().clientPem();
  BSSLContext first(path.c_str(), "", "", "client");
  ASSERT_TRUE(sessionStoreAttached());
  SharedSessionSegment* segment = mSharedContainer;
  EXPECT_STREQ(segment->certificatePath, path.c_str());
  EXPECT_EQ(segment->segmentId, SessionStoreGuard::segmentOf(path));
  EXPECT_EQ(segment->lockFlag, 0);
  shmid_ds info;
  ASSERT_EQ(shmctl(segment->segmentId, IPC_STAT, &info), 0);
  EXPECT_EQ(info.shm_segsz, 4236u);
  EXPECT_EQ(info.shm_perm.mode & 0777, 0666u);

  // Later contexts of the process use the same store, whatever their path.
  BSSLContext other(certs().clientP12().c_str(), "", "", "client");
  EXPECT_EQ(mSharedContainer, segment);

  // The same path opens the same segment again; another path another one.
  int same = 0, different = 0;
  void* again = createSharedMemorySpace(path.c_str(), same, kSessionSegmentSize, kSessionProjectId);
  void* elsewhere = createSharedMemorySpace(certs().clientP12().c_str(), different, kSessionSegmentSize,
                                            kSessionProjectId);
  EXPECT_EQ(same, segment->segmentId);
  EXPECT_NE(different, segment->segmentId);
  detachFromSharedMemory(again);
  detachFromSharedMemory(elsewhere);
}

TEST_F(SessionStoreTest, LongPathsAreCutAndMissingFilesLeaveNoStore) {
  BSSLContext missing((certs().dir() + "/missing.pem").c_str(), "", "", "client");
  EXPECT_FALSE(sessionStoreAttached());
  EXPECT_EQ(getLock(), 0);
  releaseLock();

  std::string dir = certs().dir();
  while (dir.size() < 200) dir += "/deeper-directory";
  std::filesystem::create_directories(dir);
  std::string path = dir + "/client.pem";
  std::filesystem::copy_file(certs().clientPem(), path);
  {
    BSSLContext longPath(path.c_str(), "", "", "client");
    ASSERT_TRUE(sessionStoreAttached());
    EXPECT_EQ(std::string(mSharedContainer->certificatePath), path.substr(0, 127));
  }
  // The segment is keyed by a file outside the guard's directory listing.
  int id = SessionStoreGuard::segmentOf(path);
  if (id != -1) shmctl(id, IPC_RMID, nullptr);
}

TEST_F(SessionStoreTest, LockWaitsAboutOneSecondForAHolder) {
  EXPECT_EQ(getLock(), 0) << "no store, no lock";
  BSSLContext ctx(certs().clientPem().c_str(), "", "", "client");
  ASSERT_EQ(getLock(), 1);
  EXPECT_EQ(mSharedContainer->lockFlag, 1);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(getLock(), 0);
  EXPECT_LT(secondsSince(start), 5.0);
  releaseLock();
  EXPECT_EQ(getLock(), 1);
  releaseLock();
}

TEST_F(SessionStoreTest, StoresSessionsOfUpTo4096Bytes) {
  BSSLContext ctx(certs().clientPem().c_str(), certs().password().c_str(), "", "client");
  ASSERT_TRUE(sessionStoreAttached());
  ASSERT_NE(ctx.getSSLObject(), nullptr);
  SSL_SESSION* fits = sessionEncodedIn(ctx.getSSLObject(), 4096);
  SSL_SESSION* tooLong = sessionEncodedIn(ctx.getSSLObject(), 4097);
  ASSERT_NE(fits, nullptr);
  ASSERT_NE(tooLong, nullptr);

  EXPECT_EQ(offer(fits), 0);
  EXPECT_EQ(mSharedContainer->sessionLength, 4096);
  std::vector<unsigned char> expected(4096);
  unsigned char* out = expected.data();
  i2d_SSL_SESSION(fits, &out);
  EXPECT_EQ(memcmp(mSharedContainer->sessionData, expected.data(), expected.size()), 0);

  EXPECT_EQ(offer(tooLong), -1);
  EXPECT_EQ(mSharedContainer->sessionLength, 4096) << "the stored session stays";
  EXPECT_EQ(mSharedContainer->lockFlag, 0) << "the lock is released on refusal";
  SSL_SESSION* readBack = ctx.getSession();
  ASSERT_NE(readBack, nullptr);
  EXPECT_EQ(i2d_SSL_SESSION(readBack, nullptr), 4096);
  EXPECT_EQ(mSharedContainer->lockFlag, 0);

  mSharedContainer->lockFlag = 1;
  EXPECT_EQ(offer(fits), -1) << "no store without the lock";
  mSharedContainer->lockFlag = 0;

  EXPECT_EQ(ssl_callback_GetSessionCacheEntry(nullptr, nullptr, 0, nullptr), nullptr);
  SSL_SESSION_free(fits);
  SSL_SESSION_free(tooLong);
}

TEST_F(SessionStoreTest, RemoveCallbackDropsTheStoreForTheProcess) {
  BSSLContext ctx(certs().clientPem().c_str(), "", "", "client");
  ASSERT_TRUE(sessionStoreAttached());
  int id = mSharedContainer->segmentId;
  ssl_callback_DelSessionCacheEntry(nullptr, nullptr);
  EXPECT_EQ(mSharedContainer, nullptr);
  EXPECT_EQ(getLock(), 0);
  shmid_ds info;
  EXPECT_EQ(shmctl(id, IPC_STAT, &info), -1) << "a segment no process uses is removed";
  ssl_callback_DelSessionCacheEntry(nullptr, nullptr);  // a second removal finds nothing to do
  EXPECT_EQ(ctx.getSession(), nullptr);
}

TEST_F(SessionStoreTest, EveryHandshakeAfterTheFirstResumes) {
  TlsTestServer server(certs());
  BSSLContext first(certs().clientPem().c_str(), certs().password().c_str(), "", "client");
  ASSERT_TRUE(handshakeOnce(first, server));
  EXPECT_GT(mSharedContainer->sessionLength, 0);
  ASSERT_TRUE(handshakeOnce(first, server));  // the held session is offered again
  ASSERT_TRUE(handshakeOnce(first, server));
  BSSLContext second(certs().clientPem().c_str(), certs().password().c_str(), "", "client");
  ASSERT_TRUE(handshakeOnce(second, server));  // a new context reads the store

  auto seen = server.waitForConnections(4);
  ASSERT_EQ(seen.size(), 4u);
  EXPECT_FALSE(seen[0].resumed);
  for (size_t i = 1; i < seen.size(); i++) EXPECT_TRUE(seen[i].resumed) << i;
  for (auto& c : seen) EXPECT_EQ(c.version, TLS1_2_VERSION);
}

