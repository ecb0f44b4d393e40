// The session store is shared with every process on the machine that uses
// the same certificate; a process that crashed holding its lock, or that
// wrote rubbish into it, must cost the others at most a little time and
// never a transaction.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <string>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionSegment.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TxnLoop.h"
#include "faultSupport.h"

namespace {

// One purchase in a process of its own, which attaches the store afresh.
void expectApprovedInNewProcess(const TestCertificates& certs, int port) {
  TxnLoop::Result run = TxnLoop(ZV_TXN_LOOP_PATH, certs, port).finish();
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.summary["approved"], 1) << run.output;
}

}  // namespace

// A lock left taken makes each transaction wait out the lock's bounded
// wait instead of using the store; the transactions still succeed. The
// next process to attach clears the lock, and sessions are shared again.
TEST(SessionStoreFault, LockLeftTakenCostsTimeButNoTransaction) {
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs);
  expectApproved(certs, sim.port());  // attaches the store and fills it

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
  long resumed = sim.stat("handshakes_resumed");
  expectApprovedInNewProcess(certs, sim.port());
  EXPECT_TRUE(sim.waitForStat("handshakes_resumed", resumed + 1)) << "sessions are shared again";
}

// Rubbish in the store is not offered to the gateway: the handshake is a
// full one, the purchase succeeds, and its session replaces the rubbish.
TEST(SessionStoreFault, CorruptedSessionIsIgnored) {
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs);
  expectApprovedInNewProcess(certs, sim.port());
  expectApprovedInNewProcess(certs, sim.port());
  ASSERT_TRUE(sim.waitForStat("handshakes_resumed", 1)) << "the store works to begin with";

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
  expectApprovedInNewProcess(certs, sim.port());
  EXPECT_TRUE(sim.waitForStat("handshakes_resumed", resumed + 1)) << "the store healed";
}
