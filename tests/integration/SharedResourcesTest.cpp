// What a process shares, through the C API: several merchant certificates
// in one process, and one certificate file used by two users, each keep
// their own stored sessions; the pool of SSL contexts, held by another
// thread, costs a transaction its attempt but tries no other server. (The
// transaction cases that need nothing but a simulator and a request are
// data, in tests/data/cases.)
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
#include "sslPool.h"
#include "testText.h"

namespace {

class SharedResources : public testing::Test {
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

// The exit code of a run that, as the other user, cannot read a file it
// needs: the machine's directories keep that user out.
constexpr int kUnreachable = 77;

// One purchase by zelvan-txn through 127.0.0.1:port with certs' PKCS#12
// file and CA, run by setpriv as user nobody with no other group. Returns
// its exit code (-1 when it did not exit) and in *err its standard error.
int purchaseAsNobody(const TestCertificates& certs, int port, std::string* err) {
  const std::string errPath = certs.dir() + "/nobody.err";
  const std::string command =
      "setpriv --reuid=nobody --regid=\"$(id -g nobody)\" --clear-groups sh -c '"
      "test -r \"$1\" -a -r \"$2\" -a -x \"$0\" || exit 77; exec \"$0\" -s 127.0.0.1 -p \"$3\" -c \"$1\" -a \"$2\" "
      "CLIENTID=10000001 TRANSACTIONTYPE=PURCHASE CARDDATA=4111111111111111 CARDEXPIRYDATE=1230 AMOUNT=12.50' " +
      std::string(ZV_TXN_PROGRAM) + " " + certs.clientP12() + " " + certs.caCert() + " " + std::to_string(port) +
      " >/dev/null 2>" + errPath;
  setenv("ZELVAN_CERT_PASSWORD", certs.password().c_str(), 1);
  const int status = std::system(command.c_str());
  unsetenv("ZELVAN_CERT_PASSWORD");
  *err = readFile(errPath);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

// Each certificate authenticates its own transactions: a certificate the
// gateway refuses is not carried by the session another one stored.
TEST_F(SharedResources, TwoCertificatesInOneProcessEachUseTheirOwnSession) {
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
TEST_F(SharedResources, AnotherUsersProcessMakesFullHandshakesAndPrintsNothing) {
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
    std::string err;
    const int exitCode = purchaseAsNobody(certs_, sim_.port(), &err);
    if (exitCode == kUnreachable) GTEST_SKIP() << "user nobody cannot reach " << certs_.dir() << " or the programs";
    EXPECT_EQ(exitCode, 0) << "approved: " << err;
    EXPECT_EQ(err, "") << "nothing on the other user's standard error";
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

TEST_F(SharedResources, BusyPoolGivesNoContextAndTriesNoOtherServer) {
  MerchantTxn session;
  session.settings(certs_, sim_.port());
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
  EXPECT_EQ(zelvanclient_outcome(session.handle()), ZELVAN_OUTCOME_NO_DECISION);
  EXPECT_EQ(session.field("CARDDATA"), "4111111111111111");
  EXPECT_TRUE(sim_.waitForStat("connections", 1));
  EXPECT_EQ(sim_.stat("connections"), 1);
}
