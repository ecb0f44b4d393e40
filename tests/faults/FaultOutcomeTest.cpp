// Each way a gateway can misbehave ends a purchase with a definite outcome
// in the bundle, within a bounded time, and with the card data masked.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "faultSupport.h"

namespace {

struct Outcome {
  int executed;
  const char* error;  // null: no ERROR field
  const char* result;
};

// Runs one purchase against a simulator started with simArgs.
void expectPurchaseOutcome(const std::vector<std::string>& simArgs, const Outcome& expected, double boundSeconds) {
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs, simArgs);
  MerchantTxn t;
  t.settings(certs, sim.port());
  t.purchase();
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(t.execute(), expected.executed);
  EXPECT_LT(secondsSince(start), boundSeconds);
  if (expected.error) {
    EXPECT_EQ(t.field("ERROR"), expected.error);
  } else {
    EXPECT_FALSE(t.has("ERROR")) << t.field("ERROR");
  }
  EXPECT_EQ(t.field("RESULT"), expected.result);
  expectCardDataMasked(t);
}

}  // namespace

// Faults that a connection closed or refused ends at once: no read waits
// for its time-out.
TEST(FaultOutcome, QuickFaultsEndPromptlyWithTheirOutcome) {
  struct {
    std::vector<std::string> sim;
    Outcome outcome;
  } cases[] = {
      {{"--fault", "first-error"}, {1, "SIMULATED GATEWAY ERROR", "2"}},
      {{"--fault", "first-no-reference"}, {0, "INVALID SERVER RESPONSE", "-1"}},
      {{"--fault", "garbage"}, {0, "UNABLE TO READ SERVER RESPONSE", "-1"}},
      {{"--fault", "no-tls"}, {0, "UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL", "-1"}},
      // The final response is lost and every status check too: four
      // exchanges, the last one's failure reported.
      {{"--fault", "close-before-final", "--status-fault", "close-before-final"},
       {0, "UNABLE TO READ SERVER RESPONSE", "-1"}},
      // The final response is lost; the first status check finds the
      // approval.
      {{"--fault", "close-before-final"}, {1, nullptr, "0"}},
      {{"--fault", "slow", "--chunk-delay-ms", "5"}, {1, nullptr, "0"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.sim[1]);
    expectPurchaseOutcome(c.sim, c.outcome, 10);
  }
}

TEST(FaultOutcome, RefusedConnectionFailsAtOnce) {
  TestCertificates certs;
  SessionStoreGuard store(certs);
  int port;
  {
    GatewaySim gone(certs);  // a port that nothing listens on once it has stopped
    port = gone.port();
  }
  expectRefused(certs, port);
}

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
