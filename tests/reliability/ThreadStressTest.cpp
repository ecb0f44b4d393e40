// Many threads of one process purchasing at once, each with its own txn,
// while eight other processes purchase through the same certificate (so
// through one session store) against the same gateway: every purchase is
// approved, and the gateway receives exactly the messages the clients
// sent, two per purchase. Half of the threads log to files of their own,
// so that the shared log settings are exercised too.
//
// ZV_STRESS_THREADS (16) and ZV_STRESS_PURCHASES (100 per thread) size the
// threads' part; repeat it with --gtest_repeat=N.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TxnLoop.h"

namespace {

int fromEnvironment(const char* name, int fallback) {
  const char* text = std::getenv(name);
  int value = text != nullptr ? std::atoi(text) : 0;
  return value > 0 ? value : fallback;
}

}  // namespace

TEST(ThreadStress, EveryThreadAndProcessGetsEveryPurchaseApproved) {
  const int threads = fromEnvironment("ZV_STRESS_THREADS", 16);
  const int purchases = fromEnvironment("ZV_STRESS_PURCHASES", 100);
  constexpr int kProcesses = 8;
  constexpr int kProcessPurchases = 100;
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs);

  std::vector<std::unique_ptr<TxnLoop>> loops;
  for (int i = 0; i < kProcesses; ++i) {
    loops.push_back(std::make_unique<TxnLoop>(ZV_TXN_LOOP_PATH, certs, sim.port(),
                                              std::vector<std::string>{"--count", std::to_string(kProcessPurchases)}));
  }
  std::atomic<int> approved{0};
  std::vector<std::thread> workers;
  for (int n = 0; n < threads; n++) {
    workers.emplace_back([&, n] {
      MerchantTxn session;
      if (n % 2 == 0) session.logTo(certs.dir() + "/thread" + std::to_string(n) + ".log");
      for (int i = 0; i < purchases; i++) {
        session.flush();
        session.settings(certs, sim.port());
        session.purchase();
        if (session.execute() == 1 && session.field("RESULT") == "0") {
          approved++;
        } else {
          ADD_FAILURE() << "thread " << n << ": " << session.field("ERROR") << " " << session.field("ERROR_DETAIL");
        }
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  for (auto& loop : loops) {
    TxnLoop::Result run = loop->finish();
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.summary["approved"], kProcessPurchases) << run.output;
  }

  EXPECT_EQ(approved.load(), threads * purchases);
  const long total = threads * purchases + kProcesses * kProcessPurchases;
  EXPECT_EQ(sim.stat("approved"), total);
  EXPECT_EQ(sim.stat("messages"), 2 * total);
  EXPECT_EQ(sim.stat("connections"), total);
  EXPECT_EQ(sim.stat("handshakes_failed"), 0);
}
