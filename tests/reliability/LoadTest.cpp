// Eight merchant processes purchasing at the same time through one
// certificate (so through one session store) against one gateway: every
// purchase succeeds, and the gateway receives exactly the messages the
// clients sent, two per purchase.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "GatewaySim.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TxnLoop.h"

TEST(Load, ConcurrentProcessesAllSucceedAndNothingIsLostOrDoubled) {
  constexpr int kProcesses = 8;
  constexpr int kPurchases = 100;
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs);

  std::vector<std::unique_ptr<TxnLoop>> loops;
  for (int i = 0; i < kProcesses; ++i) {
    loops.push_back(std::make_unique<TxnLoop>(ZV_TXN_LOOP_PATH, certs, sim.port(),
                                              std::vector<std::string>{"--count", std::to_string(kPurchases)}));
  }
  long completed = 0;
  for (auto& loop : loops) {
    TxnLoop::Result run = loop->finish();
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.summary["approved"], kPurchases) << run.output;
    completed += run.summary["completed"];
  }
  EXPECT_EQ(completed, kProcesses * kPurchases);
  EXPECT_EQ(sim.stat("messages"), 2 * completed);
  EXPECT_EQ(sim.stat("messages_PURCHASE"), 2 * completed);
  EXPECT_EQ(sim.stat("approved"), completed);
  EXPECT_EQ(sim.stat("connections"), completed);
  EXPECT_EQ(sim.stat("handshakes_failed"), 0);
}
