#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "GatewaySim.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"

namespace {

// Careless input, with the test's own certificates and session store. The
// cases of fields refused and of hostile replies are data, in
// tests/data/cases (hostile-*).
class HostileInput : public testing::Test {
 protected:
  TestCertificates certs_;
  SessionStoreGuard guard_{certs_};
};

}  // namespace

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
