#include <netdb.h>

#include "RawListener.h"
#include "engineTestSupport.h"

TEST_F(EngineTest, APurchaseReachesTheGatewayOverIpv6) {
  if (!RawListener("::1", false).ok()) GTEST_SKIP() << "no IPv6 loopback";
  GatewaySim& sim = gateway({"--bind", "::1"});
  for (const char* server : {"::1", "[::1]"}) {
    MerchantTxn t(certs_, sim.port(), logPath());
    setServers(t.handle(), server);
    // The test certificate names 127.0.0.1 only.
    put(t.handle(), "_VERIFYHOST", "OFF");
    EXPECT_EQ(t.execute(), 1) << server << t.field("ERROR") << " " << t.field("ERROR_DETAIL");
    EXPECT_EQ(zelvanclient_outcome(t.handle()), ZELVAN_OUTCOME_APPROVED) << server;
  }
  EXPECT_EQ(sim.stat("approved"), 2);
  EXPECT_EQ(logCount("Remote Address we connected to: [[::1]]:[" + std::to_string(sim.port()) + "];"), 2);
}

// A name whose first address refuses still reaches the gateway at its
// second. Needs a name of the system's that resolves to ::1 first and
// 127.0.0.1 after it (commonly "localhost").
TEST_F(EngineTest, ANameIsTriedAtEachOfItsAddresses) {
  addrinfo hints{}, *found = nullptr;
  hints.ai_socktype = SOCK_STREAM;
  if (getaddrinfo("localhost", nullptr, &hints, &found) != 0) GTEST_SKIP() << "localhost does not resolve";
  bool ipv6First = found->ai_family == AF_INET6 && found->ai_next != nullptr;
  freeaddrinfo(found);
  if (!ipv6First) GTEST_SKIP() << "localhost does not resolve to ::1 and then 127.0.0.1 here";
  GatewaySim& sim = gateway();
  MerchantTxn& t = purchase();
  setServers(t.handle(), "localhost");
  put(t.handle(), "_VERIFYHOST", "OFF");
  EXPECT_EQ(t.execute(), 1) << t.field("ERROR_DETAIL");
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_APPROVED);
  EXPECT_EQ(sim.stat("approved"), 1);
}
