// The gateway dies in the middle of a run of transactions and comes back
// on the same port: the transactions during the outage fail cleanly and
// promptly, and the ones after it succeed, in the same process, with
// nothing leaked.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "faultSupport.h"

namespace {

// A simulator that the test kills outright, as a crash or a power cut
// would; the kill is the test's doing, so it is not counted against the
// simulator.
class KillableSim : public GatewaySim {
 public:
  using GatewaySim::GatewaySim;
  void kill() {
    stop(SIGKILL);
    m_exitCode = 0;
  }
};

long openDescriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

}  // namespace

TEST(Outage, TransactionsFailCleanlyDuringAnOutageAndSucceedAfterIt) {
  TestCertificates certs;
  SessionStoreGuard store(certs);
  long descriptorsBefore = openDescriptors();

  auto sim = std::make_unique<KillableSim>(certs);
  int port = sim->port();
  for (int i = 0; i < 4; ++i) expectApproved(certs, port);
  sim->kill();
  for (int i = 0; i < 3; ++i) expectRefused(certs, port);

  // Back again, and killed while a purchase waits for its final response:
  // the read fails at once, and so do the status checks that follow.
  sim = std::make_unique<KillableSim>(certs, std::vector<std::string>{"--fault", "final-never", "--port",
                                                                       std::to_string(port)});
  {
    std::thread killer([&] {
      if (sim->waitForStat("messages", 2)) sim->kill();
    });
    MerchantTxn t;
    t.settings(certs, port);
    t.purchase();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(t.execute(), 0);
    killer.join();
    EXPECT_LT(secondsSince(start), 20);
    EXPECT_EQ(t.field("ERROR"), "UNABLE TO CONNECT - COULD NOT OPEN SOCKET");
    EXPECT_EQ(t.field("RESULT"), "-1");
    EXPECT_EQ(t.field("TRANSACTIONTYPE"), "STATUS") << "the outcome was checked for";
  }
  sim->kill();

  // Back for good: every purchase succeeds, though the session stored
  // with the first simulator means nothing to this one.
  sim = std::make_unique<KillableSim>(certs, std::vector<std::string>{"--port", std::to_string(port)});
  for (int i = 0; i < 4; ++i) expectApproved(certs, port);
  EXPECT_EQ(sim->stat("approved"), 4);
  sim.reset();

  EXPECT_EQ(openDescriptors(), descriptorsBefore) << "a descriptor outlived the failures";
}
