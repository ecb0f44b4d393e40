#include "TinyProxy.h"
#include "engineTestSupport.h"

namespace {

const char kUser[] = "merchant";
const char kPassword[] = "proxy-s3cret";

class ProxyTest : public EngineTest {
 protected:
  void SetUp() override {
    if (TinyProxy::program().empty()) GTEST_SKIP() << "tinyproxy is not installed (scripts/ensure-proxy.sh)";
  }
  std::string url(const TinyProxy& proxy, const std::string& credentials = "") const {
    return "http://" + credentials + "127.0.0.1:" + std::to_string(proxy.port());
  }
};

}  // namespace

// With credentials the tunnel opens; with a wrong password, or to a
// gateway the proxy cannot reach, each failure says what it was, and
// neither the log nor an error text holds the password.
TEST_F(ProxyTest, CredentialsAndFailuresOfTheProxy) {
  GatewaySim& sim = gateway();
  TinyProxy proxy({kUser, kPassword});
  MerchantTxn& t = purchase();
  put(t.handle(), "_PROXY", url(proxy, std::string(kUser) + ":" + kPassword + "@").c_str());
  EXPECT_EQ(t.execute(), 1) << t.field("ERROR_DETAIL");
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_APPROVED);

  // A purchase through the proxy that must fail with nothing decided; its
  // ERROR_DETAIL.
  auto failure = [&](int port, const std::string& credentials) {
    MerchantTxn failing(certs_, port, logPath());
    put(failing.handle(), "_PROXY", url(proxy, credentials).c_str());
    EXPECT_EQ(failing.execute(), 0) << credentials;
    EXPECT_EQ(zelvanclient_outcome(failing.handle()), ZELVAN_OUTCOME_NO_DECISION) << credentials;
    EXPECT_EQ(failing.field("ERROR"), "UNABLE TO CONNECT - COULD NOT OPEN SOCKET") << credentials;
    return failing.field("ERROR_DETAIL");
  };
  std::string refused = failure(sim.port(), std::string(kUser) + ":not-it@");
  std::string cannotReach = failure(sim.port() == 1 ? 2 : 1, std::string(kUser) + ":" + kPassword + "@");
  EXPECT_FALSE(refused.empty());
  EXPECT_FALSE(cannotReach.empty());
  EXPECT_NE(refused, cannotReach);
  for (const std::string& text : {refused, cannotReach, logText()}) {
    EXPECT_EQ(text.find(kPassword), std::string::npos);
    EXPECT_EQ(text.find("not-it"), std::string::npos);
  }
  for (const std::string& message : sim.recordedMessages()) {
    EXPECT_EQ(message.find(kPassword), std::string::npos);
  }
}

// The tunnel to the first server fails (nothing listens on 127.0.0.2) and
// the purchase goes through the proxy to the second.
TEST_F(ProxyTest, APurchaseFailsOverToASecondServerBehindTheProxy) {
  GatewaySim& sim = gateway();
  TinyProxy proxy({});
  MerchantTxn& t = purchase();
  setServers(t.handle(), "127.0.0.2, 127.0.0.1");
  put(t.handle(), "_PROXY", url(proxy).c_str());
  EXPECT_EQ(t.execute(), 1) << t.field("ERROR") << " " << t.field("ERROR_DETAIL");
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_APPROVED);
  EXPECT_EQ(t.field("SERVER"), "127.0.0.1");
  EXPECT_EQ(sim.stat("approved"), 1);
  EXPECT_NE(proxy.log().find("CONNECT"), std::string::npos) << proxy.log();
  EXPECT_EQ(logCount("Tunnel open through the proxy [127.0.0.1:" + std::to_string(proxy.port()) + "]"), 1);
}
