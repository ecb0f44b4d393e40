// Card data and the certificate password never leave the process in the
// clear: not in the debug log on standard output, not on the wire, and not
// in the bundle once a transaction is over. (The transaction cases check a
// log file.)
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"

namespace {

constexpr char kPassword[] = "Pw-zv-5513-secret";

// Fails for every secret that text shows (the password only when asked).
// The CVC2 counts only as a number of its own, not as digits inside a time
// stamp or a reference.
void expectNoSecrets(const std::string& text, const char* where, bool password = true) {
  SCOPED_TRACE(where);
  EXPECT_EQ(text.find(MerchantTxn::kApprovedCard), std::string::npos);
  EXPECT_EQ(text.find("4000000000000002"), std::string::npos);
  EXPECT_FALSE(std::regex_search(text, std::regex(std::string("(^|[^0-9])") + MerchantTxn::kCvc2 + "([^0-9]|$)")));
  EXPECT_TRUE(!password || text.find(kPassword) == std::string::npos) << "the password";
}

// A purchase approved, one declined, and one whose final response is lost
// (so a status check runs), all logging to standard output.
void runPurchases(const TestCertificates& certs, const GatewaySim& sim, const GatewaySim& lossy) {
  MerchantTxn t;
  t.logTo("stdout");
  struct {
    int port;
    const char* card;
  } runs[] = {{sim.port(), MerchantTxn::kApprovedCard}, {sim.port(), "4000000000000002"},
              {lossy.port(), MerchantTxn::kApprovedCard}};
  for (const auto& run : runs) {
    t.flush();
    t.settings(certs, run.port);
    t.purchase(run.card);
    EXPECT_EQ(t.execute(), 1) << t.field("ERROR");
    // The bundle keeps the password, a setting of its own, but no card data.
    expectNoSecrets(t.theWorks(), "the bundle, its \"_\" fields included", false);
  }
}

}  // namespace

TEST(Secrets, NeitherTheLogNorTheWireCarriesThem) {
  TestCertificates certs(kPassword);
  SessionStoreGuard store(certs);
  GatewaySim sim(certs);
  GatewaySim lossy(certs, {"--fault", "close-before-final"});

  // The log on standard output. (A log file is checked by the transaction
  // cases, which cannot capture standard output.)
  testing::internal::CaptureStdout();
  runPurchases(certs, sim, lossy);
  std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_NE(printed.find("Transaction Succeeded"), std::string::npos) << "the log was printed";
  expectNoSecrets(printed, "standard output");

  // The gateway sees the card data, as it must, but no "_" field.
  for (const GatewaySim* gateway : {&sim, &lossy}) {
    std::vector<std::string> messages = gateway->recordedMessages();
    EXPECT_FALSE(messages.empty());
    for (const std::string& message : messages) {
      EXPECT_FALSE(std::regex_search(message, std::regex(std::string("(^|\n)_|") + kPassword)));
    }
  }
}
