// The session store is shared with every process on the machine that uses
// the same certificate; a process that crashed holding its lock, or that
// wrote rubbish into it, must cost the others at most a little time and
// never a transaction. A stored session that decodes but cannot complete
// a handshake (torn by two processes writing at once, or altered) must
// cost one extra handshake, never the payment.
#include <gtest/gtest.h>

#include <openssl/ssl.h>

#include <chrono>
#include <climits>
#include <string>

#include "GatewaySim.h"
#include "SessionSegment.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TlsTestServer.h"
#include "TxnLoop.h"
#include "faultSupport.h"
#include "gatewayMessage.h"

namespace {

// One purchase in a process of its own, which attaches the store afresh.
void expectApprovedInNewProcess(const TestCertificates& certs, int port) {
  TxnLoop::Result run = TxnLoop(ZV_TXN_LOOP_PATH, certs, port).finish();
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.summary["approved"], 1) << run.output;
}

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

class SessionStoreFault : public testing::Test {
 protected:
  TestCertificates certs;
  SessionStoreGuard store{certs};
};

}  // namespace

// Rubbish in the store is not offered to the gateway: the handshake is a
// full one, the purchase succeeds, and its session replaces the rubbish.
// A lock left taken makes each transaction wait out the lock's bounded
// wait instead of using the store; the transactions still succeed. The
// next process to attach clears the lock, and sessions are shared again.
TEST_F(SessionStoreFault, CorruptedSessionIsIgnoredAndALockLeftTakenCostsOnlyTime) {
  GatewaySim sim(certs);
  expectApprovedInNewProcess(certs, sim.port());  // stores a session

  struct {
    const char* what;
    bool scribble;
    int length;
  } cases[] = {
      {"random bytes", true, 300},
      {"random bytes filling the store", true, 4096},
      {"a real session with a length past the store", false, 5000},
      {"a real session with the largest length", false, INT_MAX},
      {"a real session with a negative length", false, -1},
  };
  unsigned seed = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    {
      SessionSegment segment(certs.clientP12());
      if (c.scribble) {
        segment.scribble(seed++, c.length);
      } else {
        segment->sessionLength = c.length;
      }
    }
    long full = sim.stat("handshakes_full");
    long resumed = sim.stat("handshakes_resumed");
    expectApprovedInNewProcess(certs, sim.port());
    EXPECT_TRUE(sim.waitForStat("handshakes_full", full + 1));
    EXPECT_EQ(sim.stat("handshakes_resumed"), resumed);
  }
  long resumed = sim.stat("handshakes_resumed");
  expectApproved(certs, sim.port());  // attaches this process's store
  EXPECT_TRUE(sim.waitForStat("handshakes_resumed", resumed + 1)) << "the store healed";

  SessionSegment segment(certs.clientP12());
  segment->lockFlag = 1;
  for (int i = 0; i < 3; ++i) {
    auto start = std::chrono::steady_clock::now();
    expectApproved(certs, sim.port());
    // The lock's bounded wait, about a second, is all it costs (a
    // transaction takes about 1.1 s here): generous room, but not for a
    // second wait or a retry.
    EXPECT_LT(secondsSince(start), 2.5);
  }
  EXPECT_EQ(segment->lockFlag, 1) << "no process took the lock over";

  expectApprovedInNewProcess(certs, sim.port());
  EXPECT_EQ(segment->lockFlag, 0) << "a new process clears the lock as it attaches";
  resumed = sim.stat("handshakes_resumed");
  expectApprovedInNewProcess(certs, sim.port());
  EXPECT_TRUE(sim.waitForStat("handshakes_resumed", resumed + 1)) << "sessions are shared again";
}

TEST_F(SessionStoreFault, DamagedSessionFailsOnceAndIsRetriedWithAFullHandshake) {
  for (int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    SCOPED_TRACE(version);
    SessionStoreGuard fresh(certs);
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
