// Many threads of one process purchasing at once, each with its own txn,
// against one gateway: every purchase is approved. Half of the threads log
// to files of their own, so that the shared log settings are exercised too.
//
// ZV_STRESS_THREADS (16) and ZV_STRESS_PURCHASES (100 per thread) size the
// run; repeat it with --gtest_repeat=N.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"

namespace {

int fromEnvironment(const char* name, int fallback) {
  const char* text = std::getenv(name);
  int value = text != nullptr ? std::atoi(text) : 0;
  return value > 0 ? value : fallback;
}

}  // namespace

TEST(ThreadStress, EveryThreadWithItsOwnTxnGetsEveryPurchaseApproved) {
  const int threads = fromEnvironment("ZV_STRESS_THREADS", 16);
  const int purchases = fromEnvironment("ZV_STRESS_PURCHASES", 100);
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs);

  std::atomic<int> approved{0};
  std::vector<std::string> failures(threads);
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
        } else if (failures[n].empty()) {
          failures[n] = session.field("ERROR") + " " + session.field("ERROR_DETAIL");
        }
      }
    });
  }
  for (std::thread& worker : workers) worker.join();

  for (int n = 0; n < threads; n++) EXPECT_EQ(failures[n], "") << "thread " << n;
  EXPECT_EQ(approved.load(), threads * purchases);
  EXPECT_EQ(sim.stat("approved"), threads * purchases);
  EXPECT_EQ(sim.stat("messages"), 2 * threads * purchases);
}
