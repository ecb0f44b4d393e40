// A stored session that decodes but cannot complete a handshake (torn by
// two processes writing at once, or altered) must cost one extra
// handshake, never the payment.
#include <gtest/gtest.h>

#include <openssl/ssl.h>

#include <string>

#include "MerchantTxn.h"
#include "SessionSegment.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TlsTestServer.h"
#include "faultSupport.h"
#include "gatewayMessage.h"

namespace {

// Plays the gateway on one connection: the first request gets a
// reference, the second (which carries it) an approval.
void approve(SSL* ssl) {
  std::string data;
  char buffer[4096];
  for (int answered = 0; answered < 2;) {
    int count = SSL_read(ssl, buffer, sizeof buffer);
    if (count <= 0) return;
    data.append(buffer, count);
    size_t end = data.find(kEndMarker);
    if (end == std::string::npos) continue;
    data.erase(0, end + kEndMarkerLength);
    std::string reply = answered++ == 0 ? "TXNREFERENCE=ZT000001"
                                        : "TXNREFERENCE=ZT000001\r\nRESULT=0\r\nRESPONSECODE=00\r\nRESPONSETEXT=APPROVED";
    TlsTestServer::send(ssl, reply + kEndMarker);
  }
}

// Replaces the stored session with itself under another master key: it
// still decodes, and the gateway still recognises its ticket or ID, but
// the handshake that offers it fails.
void damageStoredSession(const std::string& certificatePath) {
  SessionSegment segment(certificatePath);
  const unsigned char* in = segment->sessionData;
  SSL_SESSION* session = d2i_SSL_SESSION(nullptr, &in, segment->sessionLength);
  ASSERT_NE(session, nullptr);
  unsigned char key[SSL_MAX_MASTER_KEY_LENGTH];
  size_t length = SSL_SESSION_get_master_key(session, key, sizeof key);
  ASSERT_GT(length, 0u);
  for (size_t i = 0; i < length; i++) key[i] ^= 0x5a;
  ASSERT_EQ(SSL_SESSION_set1_master_key(session, key, length), 1);
  unsigned char* out = segment->sessionData;
  segment->sessionLength = i2d_SSL_SESSION(session, &out);
  SSL_SESSION_free(session);
}

}  // namespace

TEST(DamagedSession, FailedResumptionIsRetriedOnceWithAFullHandshake) {
  for (int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    SCOPED_TRACE(version);
    TestCertificates certs;
    SessionStoreGuard store(certs);
    TlsTestServer gateway(certs, approve, false, [version](SSL_CTX* ctx) {
      SSL_CTX_set_min_proto_version(ctx, version);
      SSL_CTX_set_max_proto_version(ctx, version);
    });
    expectApproved(certs, gateway.port());
    damageStoredSession(certs.clientP12());
    expectApproved(certs, gateway.port());
    expectApproved(certs, gateway.port());

    auto seen = gateway.waitForConnections(4);
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_FALSE(seen[1].handshake) << "the damaged session was offered and failed";
    EXPECT_TRUE(seen[2].handshake);
    EXPECT_FALSE(seen[2].resumed) << "the retry offered no session";
    EXPECT_TRUE(seen[3].resumed) << "the retry's session replaced the damaged one";
    for (auto& c : seen) EXPECT_EQ(c.version, c.handshake ? version : 0);
  }
}
