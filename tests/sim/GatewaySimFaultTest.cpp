#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "GatewaySim.h"
#include "SimClient.h"
#include "TestCertificates.h"

namespace {

const TestCertificates& certs() { return TestCertificates::shared(); }

// Runs a transaction and asks for the status of its reference.
std::map<std::string, std::string> statusOf(int port, const std::string& reference) {
  return SimClient::exchange(port, certs().clientPlainPem(),
                             {{"CLIENTID", "10000001"}, {"TRANSACTIONTYPE", "STATUS"}, {"TXNREFERENCE", reference}})
      .fields();
}

}  // namespace

// Each fault shows on the first connection only, then the simulator is
// back to normal.
TEST(GatewaySimFault, EachFaultLimitedToTheFirstConnection) {
  using Check = std::function<void(const SimTransaction&)>;
  auto opened = [](const SimTransaction& t) { return !t.first.fields()["TXNREFERENCE"].empty(); };
  struct {
    const char* fault;
    Check check;
  } cases[] = {
      {"first-error",
       [](const SimTransaction& t) {
         EXPECT_EQ(t.first.fields()["ERROR"], "SIMULATED GATEWAY ERROR");
         EXPECT_EQ(t.first.fields().count("TXNREFERENCE"), 0u);
       }},
      {"first-no-reference",
       [](const SimTransaction& t) {
         EXPECT_TRUE(t.first.complete);
         EXPECT_EQ(t.first.fields().count("TXNREFERENCE") + t.first.fields().count("ERROR"), 0u);
       }},
      {"close-before-final",
       [&](const SimTransaction& t) {
         EXPECT_TRUE(opened(t));
         EXPECT_TRUE(t.final.closed);
         EXPECT_EQ(t.final.text, "");
       }},
      {"final-never",
       [&](const SimTransaction& t) {
         EXPECT_TRUE(opened(t));
         EXPECT_FALSE(t.final.closed) << "the connection is held open";
         EXPECT_EQ(t.final.text, "");
       }},
      {"slow",
       [&](const SimTransaction& t) {
         EXPECT_TRUE(opened(t));
         EXPECT_GT(t.first.records, 5) << "the reply comes in pieces";
         EXPECT_EQ(t.first.text, "TXNREFERENCE=" + t.first.fields()["TXNREFERENCE"] + "\r\n\r\nEND\r\n\r\n");
         EXPECT_EQ(t.final.fields()["RESULT"], "0");
       }},
      {"garbage",
       [](const SimTransaction& t) {
         EXPECT_FALSE(t.first.complete);
         EXPECT_TRUE(t.first.closed);
         EXPECT_FALSE(t.first.text.empty());
         EXPECT_TRUE(t.first.fields().empty());
       }},
      {"no-tls", [](const SimTransaction& t) { EXPECT_EQ(t.first.text, ""); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    GatewaySim sim(certs(), {"--fault", c.fault, "--fault-connections", "1", "--chunk-delay-ms", "1"});
    SimClient client(certs().clientPlainPem());
    // Only a response that never comes is waited for briefly.
    int finalTimeoutMs = std::string(c.fault) == "final-never" ? 300 : 10000;
    c.check(runTransaction(client, sim.port(), purchaseRequest(), finalTimeoutMs));
    client.close();
    EXPECT_EQ(runTransaction(client, sim.port(), purchaseRequest()).final.fields()["RESULT"], "0");
    EXPECT_EQ(sim.stat("faults"), std::string(c.fault) == "slow" ? 2 : 1) << "replies or connections changed";
    EXPECT_EQ(sim.stat("connections"), 2);
  }
}

// A purchase whose final response is lost, with status checks that fail
// a given number of times before one is answered.
TEST(GatewaySimFault, StatusFaultsApplyToStatusRequestsOnly) {
  struct {
    std::vector<std::string> args;
    int failingChecks;
  } cases[] = {
      {{"--fault", "close-before-final"}, 0},
      {{"--fault", "close-before-final", "--status-fault", "close-before-final", "--status-fault-count", "2"}, 2},
      {{"--fault", "close-before-final", "--status-fault", "close-before-final"}, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    GatewaySim sim(certs(), c.args);
    SimClient client(certs().clientPlainPem());
    SimTransaction purchase = runTransaction(client, sim.port(), purchaseRequest());
    EXPECT_FALSE(purchase.final.complete);
    std::string reference = purchase.first.fields()["TXNREFERENCE"];
    for (int check = 1; check <= 3; ++check) {
      auto status = statusOf(sim.port(), reference);
      if (check <= c.failingChecks) {
        EXPECT_TRUE(status.empty()) << "check " << check;
      } else {
        EXPECT_EQ(status["RESULT"], "0") << "check " << check << ": the outcome was stored before the loss";
        break;
      }
    }
    EXPECT_EQ(sim.stat("messages_PURCHASE"), 2);
    EXPECT_EQ(sim.stat("messages_STATUS"), std::min(c.failingChecks + 1, 3));
  }

  GatewaySim refusingStatus(certs(), {"--status-fault", "first-error"});
  SimClient client(certs().clientPlainPem());
  SimTransaction purchase = runTransaction(client, refusingStatus.port(), purchaseRequest());
  EXPECT_EQ(purchase.final.fields()["RESULT"], "0");
  EXPECT_EQ(statusOf(refusingStatus.port(), purchase.final.fields()["TXNREFERENCE"])["ERROR"],
            "SIMULATED GATEWAY ERROR");
}
