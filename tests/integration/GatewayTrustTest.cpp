// Several merchant certificates in one process, and one certificate file
// used by two users: each keeps its own stored sessions.
#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "testText.h"

namespace {

class GatewayTrust : public testing::Test {
 protected:
  // A purchase at the test's simulator, with another certificate when
  // given one; the transaction after execute().
  std::unique_ptr<MerchantTxn> purchase(const std::string& certificate = "") {
    auto t = std::make_unique<MerchantTxn>();
    t->settings(certs_, sim_.port());
    if (!certificate.empty()) put_CertificatePath(t->handle(), certificate.c_str());
    t->purchase();
    t->execute();
    return t;
  }

  TestCertificates certs_;
  SessionStoreGuard guard_{certs_};
  GatewaySim sim_{certs_};
};

// How a zelvan-txn run ended and what it printed on each stream.
struct CliRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// The exit code of a run that, as the other user, cannot read a file it
// needs: the machine's directories keep that user out.
constexpr int kUnreachable = 77;

// One purchase by zelvan-txn through 127.0.0.1:port with certs' PKCS#12
// file and CA, run by setpriv as user nobody with no other group.
CliRun purchaseAsNobody(const TestCertificates& certs, int port) {
  const std::string out = certs.dir() + "/nobody.out", err = certs.dir() + "/nobody.err";
  const std::string command =
      "setpriv --reuid=nobody --regid=\"$(id -g nobody)\" --clear-groups sh -c '"
      "test -r \"$1\" -a -r \"$2\" -a -x \"$0\" || exit 77; exec \"$0\" -s 127.0.0.1 -p \"$3\" -c \"$1\" -a \"$2\" "
      "CLIENTID=10000001 TRANSACTIONTYPE=PURCHASE CARDDATA=4111111111111111 CARDEXPIRYDATE=1230 AMOUNT=12.50' " +
      std::string(ZV_TXN_PROGRAM) + " " + certs.clientP12() + " " + certs.caCert() + " " + std::to_string(port) +
      " >" + out + " 2>" + err;
  setenv("ZELVAN_CERT_PASSWORD", certs.password().c_str(), 1);
  const int status = std::system(command.c_str());
  unsetenv("ZELVAN_CERT_PASSWORD");
  CliRun run;
  if (WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
  run.out = readFile(out);
  run.err = readFile(err);
  return run;
}

}  // namespace

// Each certificate authenticates its own transactions: a certificate the
// gateway refuses is not carried by the session another one stored.
TEST_F(GatewayTrust, TwoCertificatesInOneProcessEachUseTheirOwnSession) {
  EXPECT_EQ(purchase()->field("RESULT"), "0");
  for (int i = 0; i < 2; i++) {
    auto other = purchase(certs_.otherClientPem());
    EXPECT_EQ(other->field("ERROR"), "UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL");
    EXPECT_EQ(other->field("RESULT"), "-1");
  }
  EXPECT_EQ(purchase()->field("RESULT"), "0");
  EXPECT_TRUE(sim_.waitForStat("handshakes_resumed", 1));
  EXPECT_EQ(sim_.stat("approved"), 2);
  EXPECT_NE(SessionStoreGuard::segmentOf(certs_.otherClientPem()), -1) << "a segment of its own";
}

// A process of another user that uses the merchant's certificate file
// cannot open the merchant's 0600 store: it makes full handshakes and
// says nothing, and the merchant's stored session stays usable.
TEST_F(GatewayTrust, AnotherUsersProcessMakesFullHandshakesAndPrintsNothing) {
  if (geteuid() != 0) GTEST_SKIP() << "starting a process as another user needs root";
  const passwd* nobody = getpwnam("nobody");
  if (nobody == nullptr || nobody->pw_uid == 0) GTEST_SKIP() << "no unprivileged user named nobody";
  // The other user reads the same file, so both users' stores have one key.
  ASSERT_EQ(chmod(certs_.dir().c_str(), 0755), 0);
  ASSERT_EQ(chmod(certs_.clientP12().c_str(), 0644), 0);

  EXPECT_EQ(purchase()->field("RESULT"), "0");
  ASSERT_TRUE(sim_.waitForStat("handshakes_full", 1));
  const int segment = SessionStoreGuard::segmentOf(certs_.clientP12());
  ASSERT_NE(segment, -1) << "the merchant's store";

  for (long run = 1; run <= 2; run++) {
    CliRun cli = purchaseAsNobody(certs_, sim_.port());
    if (cli.exitCode == kUnreachable) GTEST_SKIP() << "user nobody cannot reach " << certs_.dir() << " or the programs";
    EXPECT_EQ(cli.exitCode, 0) << cli.out << cli.err;
    EXPECT_NE(cli.out.find("RESULT=0\n"), std::string::npos) << cli.out;
    EXPECT_EQ(cli.err, "") << "nothing on the other user's standard error";
    EXPECT_TRUE(sim_.waitForStat("handshakes_full", 1 + run)) << "a full handshake each time";
    EXPECT_EQ(sim_.stat("handshakes_resumed"), 0);
  }

  EXPECT_EQ(SessionStoreGuard::segmentOf(certs_.clientP12()), segment) << "the other user made no store";
  shmid_ds info;
  ASSERT_EQ(shmctl(segment, IPC_STAT, &info), 0);
  EXPECT_EQ(info.shm_perm.uid, 0u);
  EXPECT_EQ(info.shm_perm.mode & 0777, 0600u);
  EXPECT_EQ(purchase()->field("RESULT"), "0");
  EXPECT_TRUE(sim_.waitForStat("handshakes_resumed", 1)) << "the merchant still resumes its own session";
  EXPECT_EQ(sim_.stat("handshakes_full"), 3);
}
