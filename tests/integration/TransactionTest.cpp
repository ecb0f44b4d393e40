#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "sslPool.h"
#include "testText.h"

namespace {

const std::regex kTimings(
    R"(init\( \d+ \) socket\( \d+ \) cert\( \d+ \) wire\( \d+ \) more wire\(\d+\) cleanup\( \d+ \))");

// Each test has certificates of its own, so that the session store it
// uses (keyed by the certificate file) is its own too; the guard removes
// the store's segments when the test ends.
class Transaction : public testing::Test {
 protected:
  std::string logPath() const { return certs_.dir() + "/debug.log"; }
  std::string logText() const { return readFile(logPath()); }

  // Starts the test's simulator with args.
  GatewaySim& gateway(const std::vector<std::string>& args = {}) {
    sim_ = std::make_unique<GatewaySim>(certs_, args);
    return *sim_;
  }
  // The test's transaction, set up for the simulator.
  MerchantTxn& merchant() {
    txn_.settings(certs_, sim_->port());
    return txn_;
  }

  TestCertificates certs_;
  SessionStoreGuard guard_{certs_};
  std::unique_ptr<GatewaySim> sim_;
  MerchantTxn txn_;
};

}  // namespace

// Masking, and secrets kept out of the log and off the wire, are the
// reliability suite's Secrets test.
TEST_F(Transaction, PurchaseSendsTwoMessagesOnOneConnection) {
  GatewaySim& sim = gateway();
  MerchantTxn& session = merchant();
  session.logTo(logPath());
  session.purchase();
  ASSERT_EQ(session.execute(), 1) << session.field("ERROR") << " " << session.field("ERROR_DETAIL");

  EXPECT_EQ(session.field("RESULT"), "0");
  EXPECT_FALSE(session.field("TXNREFERENCE").empty());
  EXPECT_FALSE(session.field("AUTHCODE").empty());
  EXPECT_FALSE(session.has("ERROR"));
  EXPECT_TRUE(std::regex_match(session.field("TIMINGS"), kTimings)) << session.field("TIMINGS");
  EXPECT_EQ(session.field("NUM_SSL_OBJECTS"), "1 keys - 1 objects");
  std::string total = session.field("TOTAL_TIME");
  ASSERT_FALSE(total.empty());
  EXPECT_EQ(std::stol(total) % 1000, 0);

  EXPECT_EQ(sim.stat("connections"), 1);
  std::vector<std::string> messages = sim.recordedMessages();
  ASSERT_EQ(messages.size(), 2u);
  for (const std::string& m : messages) {
    EXPECT_NE(m.find("SERVERCOUNT=1\r\n"), std::string::npos);
    EXPECT_NE(m.find("DEBUG=ON\r\n"), std::string::npos);
  }
  EXPECT_NE(messages[1].find("TXNREFERENCE=" + session.field("TXNREFERENCE")), std::string::npos);
}

TEST_F(Transaction, FailsOverToTheNextServer) {
  gateway();
  // 127.0.0.2 is loopback too, but the simulator listens on 127.0.0.1 only.
  MerchantTxn& session = merchant();
  setServers(session.handle(), "127.0.0.2, 127.0.0.1");
  session.logTo(logPath());
  session.purchase();
  ASSERT_EQ(session.execute(), 1) << session.field("ERROR");
  EXPECT_EQ(session.field("SERVER"), "127.0.0.1");
  EXPECT_FALSE(session.has("ERROR"));
  EXPECT_FALSE(session.has("ERROR_DETAIL"));
  std::string log = logText();
  EXPECT_NE(log.find("Trying Server [127.0.0.2]"), std::string::npos);
  EXPECT_NE(log.find("Trying Server [127.0.0.1]"), std::string::npos);
}

TEST_F(Transaction, UnusableCertificateStopsBeforeTheHandshake) {
  GatewaySim& sim = gateway();
  MerchantTxn& session = merchant();
  put_CertificatePath(session.handle(), certs_.clientExpired().c_str());
  session.purchase();
  EXPECT_EQ(session.execute(), 0);
  EXPECT_EQ(session.field("ERROR"), "UNABLE TO INITIALISE SSL.");
  EXPECT_EQ(session.field("ERROR_DETAIL"),
            "ZV_SSL_CTX_NOT_AFTER_DATE_FAIL: This certificate has expired - check valid to date.");
  EXPECT_EQ(session.field("RESULT"), "-1");
  // No clean-up runs on this path: the card data stay as they were.
  EXPECT_EQ(session.field("CARDDATA"), "4111111111111111");
  EXPECT_EQ(sim.stat("handshakes_full"), 0);
}

TEST_F(Transaction, MissingEssentialFieldsAreReported) {
  GatewaySim& sim = gateway();
  MerchantTxn& noType = merchant();
  put(noType.handle(), "CARDDATA", "4111111111111111");
  EXPECT_EQ(noType.execute(), 0);
  EXPECT_EQ(noType.field("ERROR"), "TRANSACTIONTYPE NOT FOUND");
  EXPECT_EQ(noType.field("ERROR_DETAIL"), "Please ensure that the Transaction Type is passed into the bundle.");
  EXPECT_EQ(noType.field("CARDDATA"), "411111XXXXXX1111");

  // Without a client id the client's check comes first, whatever else is
  // missing.
  MerchantTxn noClient;
  setServers(noClient.handle(), "127.0.0.1");
  setPort(noClient.handle(), std::to_string(sim.port()).c_str());
  put_CertificatePath(noClient.handle(), certs_.clientP12().c_str());
  put_CertificatePassword(noClient.handle(), certs_.password().c_str());
  EXPECT_EQ(noClient.execute(), 0);
  EXPECT_EQ(noClient.field("ERROR"), "CLIENTID NOT FOUND");
  EXPECT_EQ(sim.stat("messages"), 0);
}

// Each fault of the gateway ends the exchange with its own outcome, after
// one exchange: a purchase that failed before the gateway gave a reference
// runs no status check, and neither does an AUTH. A handshake that fails
// while offering the session stored by the cases before is tried once more
// with a full handshake, on a second connection.
TEST_F(Transaction, GatewayFaultsEndWithTheirErrors) {
  struct {
    const char* fault;
    const char* type;
    int result;
    const char* error;
    long connections;
  } cases[] = {
      {"first-error", "PURCHASE", 1, "SIMULATED GATEWAY ERROR", 1},
      {"first-no-reference", "PURCHASE", 0, "INVALID SERVER RESPONSE", 1},
      {"garbage", "PURCHASE", 0, "UNABLE TO READ SERVER RESPONSE", 1},
      {"no-tls", "PURCHASE", 0, "UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL", 2},
      {"close-before-final", "AUTH", 0, "COULD NOT READ CONFIRMATION FROM SERVER", 1},
  };
  for (auto& c : cases) {
    GatewaySim sim(certs_, {"--fault", c.fault});
    MerchantTxn session;
    session.settings(certs_, sim.port());
    session.logTo(logPath());
    session.purchase(MerchantTxn::kApprovedCard, c.type);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(session.execute(), c.result) << c.fault;
    // A closed or refused connection ends the exchange without waiting for
    // the reader's time-out.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << c.fault;
    EXPECT_EQ(session.field("ERROR"), c.error) << c.fault;
    EXPECT_FALSE(session.has("TIMINGS")) << c.fault;
    EXPECT_EQ(sim.stat("connections"), c.connections) << c.fault;
    EXPECT_EQ(logText().find("Checking Transaction Status..."), std::string::npos) << c.fault;
    if (c.result == 0) {
      EXPECT_EQ(session.field("RESULT"), "-1") << c.fault;
      EXPECT_NE(logText().find("Transaction Failed\r\n\r\n"), std::string::npos) << c.fault;
    }
    EXPECT_EQ(session.field("CARDDATA"), "411111XXXXXX1111") << c.fault;
    EXPECT_EQ(session.field("CVC2"), "****") << c.fault;
  }
}

TEST_F(Transaction, EveryStatusCheckFailingGivesFourExchanges) {
  GatewaySim& sim = gateway({"--fault", "close-before-final", "--status-fault", "close-before-final"});
  MerchantTxn& session = merchant();
  session.purchase(MerchantTxn::kApprovedCard, "REFUND");
  EXPECT_EQ(session.execute(), 0);
  EXPECT_EQ(sim.stat("connections"), 4);
  EXPECT_EQ(sim.stat("messages_STATUS"), 3);
  EXPECT_EQ(session.field("RESULT"), "-1");
}

TEST_F(Transaction, BusyPoolGivesNoContextAndTriesNoOtherServer) {
  GatewaySim& sim = gateway();
  MerchantTxn& session = merchant();
  setServers(session.handle(), "127.0.0.1 127.0.0.1");
  session.purchase();
  // Another thread of the process holding the pool for longer than the
  // five seconds a transaction waits for it.
  ASSERT_TRUE(get_ssl_lock());
  EXPECT_EQ(session.execute(), 0);
  release_ssl_lock();
  EXPECT_EQ(session.field("ERROR"), "UNABLE TO INITIALISE SSL.");
  EXPECT_EQ(session.field("ERROR_DETAIL"), "Unable to obtain an ssl context object.");
  EXPECT_EQ(session.field("RESULT"), "-1");
  EXPECT_EQ(session.field("CARDDATA"), "4111111111111111");
  EXPECT_TRUE(sim.waitForStat("connections", 1));
  EXPECT_EQ(sim.stat("connections"), 1);
}
