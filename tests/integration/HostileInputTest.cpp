#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "testText.h"

namespace {

// Careless input and hostile replies against a recording simulator, with
// the test's own certificates and session store.
class HostileInput : public testing::Test {
 protected:
  std::string logText() const { return readFile(certs_.dir() + "/debug.log"); }

  TestCertificates certs_;
  SessionStoreGuard guard_{certs_};
};

}  // namespace

TEST_F(HostileInput, FieldsTheMessageCannotCarryAreRefusedBeforeConnecting) {
  GatewaySim sim(certs_);
  // Card-like values, so that a leak into ERROR_DETAIL or the log shows.
  struct Case {
    const char* name;
    const char* value;
    const char* error;
    const char* detailNames;
  } cases[] = {
      {"CUSTOMERNAME", "Jo 4111111111111111\r\nAMOUNT=0.01", "INVALID FIELD", "[CUSTOMERNAME]"},
      {"ADDRESS", "4111111111111111\r\nEND\r\n\r\n", "INVALID FIELD", "[ADDRESS]"},
      {"ADDRESS2", "bare\n4111111111111111", "INVALID FIELD", "[ADDRESS2]"},
      {"NOTE", "4111111111111111=x", "INVALID FIELD", "[NOTE]"},
      {"PAN=4111111111111111", "x", "INVALID FIELD", "[PAN...]"},
      {"NAME\r\n4111111111111111", "x", "INVALID FIELD", "[NAME...]"},
      {"", "4111111111111111", "INVALID FIELD", "empty name"},
      {"SERVERPORT", "99999", "UNABLE TO CONNECT - COULD NOT OPEN SOCKET", "port is invalid"},
      {"SERVERPORT", "36561abc", "UNABLE TO CONNECT - COULD NOT OPEN SOCKET", "port is invalid"},
      {"SERVERPORT", "0", "UNABLE TO CONNECT - COULD NOT OPEN SOCKET", "port is invalid"},
  };
  for (const Case& c : cases) {
    MerchantTxn session;
    session.settings(certs_, sim.port());
    session.logTo(certs_.dir() + "/debug.log");
    session.purchase();
    if (std::string(c.name) == "SERVERPORT") {
      setPort(session.handle(), c.value);
    } else {
      put(session.handle(), c.name, c.value);
    }
    EXPECT_STREQ(get(session.handle(), c.name), c.value) << "put stores what it is given";

    EXPECT_EQ(session.execute(), 0) << c.name;
    EXPECT_EQ(session.field("ERROR"), c.error) << c.name;
    EXPECT_EQ(session.field("RESULT"), "-1") << c.name;
    std::string detail = session.field("ERROR_DETAIL");
    EXPECT_NE(detail.find(c.detailNames), std::string::npos) << detail;
    EXPECT_EQ(detail.find("4111"), std::string::npos) << detail;
  }
  EXPECT_EQ(logText().find("4111111111111111"), std::string::npos);
  EXPECT_EQ(sim.stat("connections"), 0);
  EXPECT_TRUE(sim.recordedMessages().empty());

  // The same transaction with its fields corrected goes through.
  MerchantTxn session;
  session.settings(certs_, sim.port());
  session.purchase();
  put(session.handle(), "CUSTOMERNAME", "Jo Bloggs");
  EXPECT_EQ(session.execute(), 1) << session.field("ERROR") << " " << session.field("ERROR_DETAIL");
  EXPECT_EQ(session.field("RESULT"), "0");
}

TEST_F(HostileInput, RepliesCannotChangeLocalOrConnectionSettings) {
  // A second gateway where a reply that could redirect the status check
  // would send it.
  GatewaySim elsewhere(certs_);
  std::string port = std::to_string(elsewhere.port());
  GatewaySim sim(certs_, {"--fault", "close-before-final", "--fault-connections", "1",
                          "--reply-field", "_CAFILE=" + certs_.otherCaCert(),
                          "--reply-field", "SERVERPORT=" + port,
                          "--reply-field", "SERVER0=localhost",
                          "--reply-field", "SERVERCOUNT=1",
                          "--reply-field", "_CERTIFICATEPASSWORD=wrong"});
  MerchantTxn session;
  session.settings(certs_, sim.port());
  session.logTo(certs_.dir() + "/debug.log");
  session.purchase();
  ASSERT_EQ(session.execute(), 1) << session.field("ERROR") << " " << session.field("ERROR_DETAIL");

  EXPECT_EQ(session.field("RESULT"), "0");
  EXPECT_EQ(session.field("_CAFILE"), certs_.caCert());
  EXPECT_EQ(session.field("_CERTIFICATEPASSWORD"), certs_.password());
  EXPECT_EQ(session.field("SERVERPORT"), std::to_string(sim.port()));
  EXPECT_EQ(session.field("SERVER0"), "127.0.0.1");
  EXPECT_EQ(sim.stat("messages_STATUS"), 1) << "the status check went to the configured gateway";
  EXPECT_EQ(elsewhere.stat("connections"), 0);
  std::string log = logText();
  EXPECT_NE(log.find("Ignored 5 reply field(s) that only this client may set."), std::string::npos);
  EXPECT_EQ(log.find("localhost"), std::string::npos) << "ignored values are not logged";
}

TEST_F(HostileInput, TheCommandLineClientReportsTheRefusal) {
  GatewaySim sim(certs_);
  setenv("ZELVAN_CERT_PASSWORD", certs_.password().c_str(), 1);
  std::string command = std::string(ZV_TXN_PROGRAM) + " -s 127.0.0.1 -p " + std::to_string(sim.port()) +
                        " -c " + certs_.clientP12() + " -a " + certs_.caCert() +
                        " CLIENTID=10000001 TRANSACTIONTYPE=PURCHASE CARDDATA=4111111111111111"
                        " NOTE=a=b 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string output;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
  int status = pclose(pipe);
  unsetenv("ZELVAN_CERT_PASSWORD");

  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 0) << output;
  EXPECT_NE(output.find("ERROR=INVALID FIELD\n"), std::string::npos) << output;
  EXPECT_NE(output.find("ERROR_DETAIL=The field [NOTE] holds \"=\""), std::string::npos) << output;
  EXPECT_EQ(sim.stat("connections"), 0);
}
