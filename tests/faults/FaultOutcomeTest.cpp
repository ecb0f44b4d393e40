// A gateway that never answers costs a purchase the reader's time-out and
// no more; the other faults are covered end to end in tests/integration.
#include <gtest/gtest.h>

#include <chrono>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "faultSupport.h"

// A final response that never comes is given up after the reader's 30
// seconds (checked between waits of up to 5 seconds); the status check
// then finds the approval.
TEST(FaultOutcome, FinalResponseNeverSentIsGivenUpAndChecked) {
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs, {"--fault", "final-never", "--fault-connections", "1"});
  MerchantTxn t;
  t.settings(certs, sim.port());
  t.purchase();
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(t.execute(), 1);
  EXPECT_LT(secondsSince(start), 45);
  EXPECT_EQ(t.field("RESULT"), "0");
  EXPECT_EQ(t.field("TRANSACTIONTYPE"), "STATUS");
  EXPECT_EQ(sim.stat("messages_STATUS"), 1);
  expectCardDataMasked(t);
}
