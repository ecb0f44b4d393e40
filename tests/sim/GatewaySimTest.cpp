#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "GatewaySim.h"
#include "SimClient.h"
#include "TestCertificates.h"

namespace {

const TestCertificates& certs() { return TestCertificates::shared(); }

}  // namespace

TEST(GatewaySim, PurchaseTakesTwoMessagesOnOneConnection) {
  GatewaySim sim(certs());
  SimClient client(certs().clientPlainPem(), certs().caCert());
  SimTransaction purchase = runTransaction(client, sim.port(), purchaseRequest());

  ASSERT_TRUE(purchase.first.complete);
  auto first = purchase.first.fields();
  std::string reference = first["TXNREFERENCE"];
  EXPECT_FALSE(reference.empty());
  EXPECT_EQ(first.count("RESULT"), 0u) << "the first reply only opens the transaction";
  ASSERT_TRUE(purchase.final.complete);
  auto final = purchase.final.fields();
  EXPECT_EQ(final["TXNREFERENCE"], reference);
  EXPECT_EQ(final["RESULT"], "0");
  EXPECT_EQ(final["RESPONSECODE"], "00");
  EXPECT_EQ(final["RESPONSETEXT"], "APPROVED");
  EXPECT_FALSE(final["AUTHCODE"].empty());
  EXPECT_FALSE(final["WIRE_TIME"].empty());

  auto recorded = sim.recordedMessages();
  ASSERT_EQ(recorded.size(), 2u);
  EXPECT_EQ(recorded[0].find("CARDDATA=4111111111111111\r\n"), recorded[0].find("CARDDATA"));
  EXPECT_NE(recorded[1].find("TXNREFERENCE=" + reference + "\r\n"), std::string::npos);
  EXPECT_EQ(sim.stat("messages_PURCHASE"), 2);
  EXPECT_EQ(sim.stat("approved"), 1);
  EXPECT_EQ(sim.stat("connections"), 1);

  SimTransaction again = runTransaction(client, sim.port(), purchaseRequest());
  EXPECT_NE(again.final.fields()["TXNREFERENCE"], reference) << "every transaction gets its own reference";
}

TEST(GatewaySim, DecisionRules) {
  GatewaySim sim(certs());
  struct {
    const char* type;
    const char* card;
    const char* amount;
    const char* result;
    const char* responseCode;
  } cases[] = {
      {"PURCHASE", "5555555555554444", "1", "0", "00"},
      {"REFUND", "4111111111111111", "0.99", "0", "00"},
      {"AUTH", "4111111111111111", "10", "0", "00"},
      {"PURCHASE", "4111111111111112", "10", "1", "14"},  // fails the Luhn check
      {"PURCHASE", "4111-1111-1111", "10", "1", "14"},
      {"PURCHASE", "4000000000000002", "10", "1", "05"},
      {"PURCHASE", "4000000000009995", "10", "1", "51"},
      {"PURCHASE", "4000000000000069", "10", "1", "54"},
      {"PURCHASE", "4000000000000119", "10", "1", "91"},
      {"REFUND", "4000000000000127", "10", "1", "43"},
      {"PURCHASE", "4111111111111111", "0.00", "1", "13"},
      {"PURCHASE", "4111111111111111", "1.234", "1", "13"},
      {"PURCHASE", "4111111111111111", "ten", "1", "13"},
  };
  for (const auto& c : cases) {
    SimClient client(certs().clientPlainPem());
    Request request = {{"CLIENTID", "7"}, {"TRANSACTIONTYPE", c.type}, {"CARDDATA", c.card}, {"AMOUNT", c.amount}};
    auto final = runTransaction(client, sim.port(), request).final.fields();
    EXPECT_EQ(final["RESULT"], c.result) << c.card << " " << c.amount;
    EXPECT_EQ(final["RESPONSECODE"], c.responseCode) << c.card << " " << c.amount;
    EXPECT_EQ(final.count("AUTHCODE"), std::string(c.result) == "0" ? 1u : 0u) << c.card;
  }
  EXPECT_EQ(sim.stat("approved"), 3);
  EXPECT_EQ(sim.stat("declined"), 10);
}

TEST(GatewaySim, RequestsTheGatewayRefuses) {
  GatewaySim sim(certs());
  std::string cert = certs().clientPlainPem();
  auto noClient = SimClient::exchange(sim.port(), cert, {{"TRANSACTIONTYPE", "PURCHASE"}}).fields();
  EXPECT_EQ(noClient["ERROR"], "MISSING CLIENTID");
  EXPECT_EQ(noClient["RESULT"], "2");
  EXPECT_EQ(noClient.count("TXNREFERENCE"), 0u);
  auto noType = SimClient::exchange(sim.port(), cert, {{"CLIENTID", "7"}, {"CLIENTID=", "x"}}).fields();
  EXPECT_EQ(noType["ERROR"], "MISSING TRANSACTIONTYPE");
  auto empty = SimClient::exchange(sim.port(), cert, {}).fields();
  EXPECT_EQ(empty["ERROR"], "MISSING CLIENTID");

  SimClient client(cert);
  ASSERT_TRUE(client.connect(sim.port()));
  ASSERT_TRUE(client.send(purchaseRequest()));
  ASSERT_TRUE(client.read().complete);
  Request wrongReference = purchaseRequest();
  wrongReference.emplace_back("TXNREFERENCE", "ZS-NOT-OURS");
  ASSERT_TRUE(client.send(wrongReference));
  EXPECT_EQ(client.read().fields()["ERROR"], "TXNREFERENCE MISMATCH");
  EXPECT_EQ(sim.stat("errors"), 4);
  EXPECT_EQ(sim.stat("messages_UNTYPED"), 2);
}

TEST(GatewaySim, StatusReportsTheStoredOutcome) {
  GatewaySim sim(certs());
  std::string cert = certs().clientPlainPem();
  SimClient client(cert);
  auto declined = runTransaction(client, sim.port(), purchaseRequest("4000000000009995")).final.fields();
  auto approved = runTransaction(client, sim.port(), purchaseRequest()).final.fields();
  ASSERT_TRUE(client.connect(sim.port()));
  ASSERT_TRUE(client.send(purchaseRequest()));
  std::string unfinished = client.read().fields()["TXNREFERENCE"];
  client.close();

  auto status = [&](const std::string& clientId, const std::string& reference) {
    Request request = {{"CLIENTID", clientId}, {"TRANSACTIONTYPE", "status"}, {"CARDDATA", "411111******1111"}};
    if (!reference.empty()) request.emplace_back("TXNREFERENCE", reference);
    return SimClient::exchange(sim.port(), cert, request).fields();
  };
  for (const auto& outcome : {declined, approved}) {
    auto answer = status("10000001", outcome.at("TXNREFERENCE"));
    for (const char* field : {"TXNREFERENCE", "RESULT", "RESPONSECODE", "RESPONSETEXT"}) {
      EXPECT_EQ(answer[field], outcome.at(field)) << field;
    }
    EXPECT_EQ(answer["AUTHCODE"], outcome.count("AUTHCODE") ? outcome.at("AUTHCODE") : "");
  }
  EXPECT_EQ(status("10000001", "ZS000000999999")["ERROR"], "UNKNOWN TXNREFERENCE");
  EXPECT_EQ(status("another client", approved.at("TXNREFERENCE"))["ERROR"], "UNKNOWN TXNREFERENCE");
  EXPECT_EQ(status("10000001", unfinished)["ERROR"], "TRANSACTION NOT COMPLETED");
  EXPECT_EQ(status("10000001", "")["ERROR"], "MISSING TXNREFERENCE");
  EXPECT_EQ(sim.stat("messages_STATUS"), 6);
}

TEST(GatewaySim, ResumesSessionsUnlessRefused) {
  struct {
    std::vector<std::string> args;
    bool resumes;
  } cases[] = {{{}, true}, {{"--no-tickets"}, true}, {{"--no-resume"}, false}};
  for (const auto& c : cases) {
    GatewaySim sim(certs(), c.args);
    SimClient client(certs().clientPlainPem());
    ASSERT_TRUE(client.connect(sim.port()));
    ASSERT_TRUE(client.send(purchaseRequest()));
    ASSERT_TRUE(client.read().complete);
    SSL_SESSION* session = client.session();
    client.close();  // without close_notify, as the library closes
    ASSERT_TRUE(client.connect(sim.port(), session));
    SSL_SESSION_free(session);
    EXPECT_EQ(client.reused(), c.resumes) << ::testing::PrintToString(c.args);
    ASSERT_TRUE(client.send(purchaseRequest()));
    ASSERT_TRUE(client.read().complete);
    EXPECT_EQ(sim.stat("handshakes_resumed"), c.resumes ? 1 : 0);
    EXPECT_EQ(sim.stat("handshakes_full"), c.resumes ? 1 : 2);
  }
}

TEST(GatewaySim, VerifiesClientCertificatesAgainstItsCa) {
  GatewaySim verifying(certs());
  EXPECT_TRUE(SimClient(certs().clientPlainPem(), certs().caCert()).connect(verifying.port()));
  EXPECT_FALSE(SimClient(certs().otherClientPem()).connect(verifying.port()));
  EXPECT_FALSE(SimClient("").connect(verifying.port())) << "a certificate is required";
  EXPECT_TRUE(verifying.waitForStat("handshakes_failed", 2));
  EXPECT_TRUE(verifying.waitForStat("handshakes_full", 1));
  EXPECT_EQ(verifying.stat("handshakes_full"), 1);

  GatewaySim open(certs(), {}, false);
  EXPECT_TRUE(SimClient("").connect(open.port()));
  EXPECT_TRUE(SimClient(certs().otherClientPem()).connect(open.port()));
  EXPECT_FALSE(SimClient("", certs().otherCaCert()).connect(open.port())) << "our server is not the other CA's";
}

TEST(GatewaySim, ServesConnectionsAtTheSameTime) {
  GatewaySim sim(certs());
  std::vector<std::unique_ptr<SimClient>> clients;
  for (int i = 0; i < 4; ++i) {
    clients.push_back(std::make_unique<SimClient>(certs().clientPlainPem()));
    ASSERT_TRUE(clients.back()->connect(sim.port()));
  }
  std::set<std::string> references;
  for (auto& client : clients) ASSERT_TRUE(client->send(purchaseRequest()));
  for (auto& client : clients) references.insert(client->read().fields()["TXNREFERENCE"]);
  EXPECT_EQ(references.size(), 4u);
  EXPECT_EQ(references.count(""), 0u);
}

TEST(GatewaySim, StopsOnSigtermOrSigintAndPrintsItsCounters) {
  for (int signal : {SIGTERM, SIGINT}) {
    GatewaySim sim(certs(), {"--fault", "final-never"});
    SimClient held(certs().clientPlainPem());
    ASSERT_TRUE(held.connect(sim.port()));
    ASSERT_TRUE(held.send(purchaseRequest()));
    Request second = purchaseRequest();
    second.emplace_back("TXNREFERENCE", held.read().fields()["TXNREFERENCE"]);
    ASSERT_TRUE(held.send(second));
    ASSERT_TRUE(sim.waitForStat("faults", 1));
    EXPECT_EQ(sim.stop(signal), 0) << "a held connection does not keep the simulator alive";
    EXPECT_NE(sim.exitOutput().find("connections=1\n"), std::string::npos) << sim.exitOutput();
    EXPECT_NE(sim.exitOutput().find("messages_PURCHASE=2\n"), std::string::npos) << sim.exitOutput();
  }
}
