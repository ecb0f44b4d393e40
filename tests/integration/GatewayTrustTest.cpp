// What a merchant's deployment meets on real networks: TLS 1.3-only and
// name-routing gateways, certificates for other names, sessions stored by
// processes that trusted something else, gateways that stall, and several
// merchant certificates in one process or one file used by two users.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"

namespace {

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class GatewayTrust : public testing::Test {
 protected:
  GatewaySim& gateway(const std::vector<std::string>& args = {}) {
    sim_ = std::make_unique<GatewaySim>(certs_, args);
    return *sim_;
  }
  // A purchase through server with caFile ("" for none) and extra fields;
  // returns the transaction after execute().
  std::unique_ptr<MerchantTxn> purchase(const std::string& server, const std::string& caFile,
                                        const std::vector<std::pair<const char*, const char*>>& fields = {}) {
    auto t = std::make_unique<MerchantTxn>();
    t->settings(certs_, sim_->port());
    setServers(t->handle(), server.c_str());
    put(t->handle(), "_CAFILE", caFile.c_str());
    for (auto& f : fields) put(t->handle(), f.first, f.second);
    t->purchase();
    t->execute();
    return t;
  }
  void expectRefused(const MerchantTxn& t, const std::string& detail) {
    EXPECT_EQ(t.field("ERROR"), "UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL");
    EXPECT_EQ(t.field("RESULT"), "-1");
    EXPECT_NE(t.field("ERROR_DETAIL").find(detail), std::string::npos) << t.field("ERROR_DETAIL");
  }

  TestCertificates certs_;
  SessionStoreGuard guard_{certs_};
  std::unique_ptr<GatewaySim> sim_;
};

// A listener on 127.0.0.2:port whose connections complete TCP and then
// hear nothing, as behind a stuck load balancer.
class StalledServer {
 public:
  explicit StalledServer(int port) : m_fd(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, "127.0.0.2", &address.sin_addr);
    m_listening = bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && listen(m_fd, 8) == 0;
  }
  ~StalledServer() { close(m_fd); }
  bool listening() const { return m_listening; }

 private:
  int m_fd;
  bool m_listening;
};

// How a zelvan-txn run ended and what it printed on each stream.
struct CliRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// The exit code of a child that, as the other user, cannot read a file
// the run needs: the machine's directories keep that user out.
constexpr int kUnreachable = 77;

std::string contentsOf(FILE* file) {
  std::string text;
  char buffer[4096];
  rewind(file);
  for (size_t count; (count = fread(buffer, 1, sizeof buffer, file)) > 0;) text.append(buffer, count);
  fclose(file);
  return text;
}

// One purchase by zelvan-txn through 127.0.0.1:port with certs' PKCS#12
// file and CA, in a process that runs as user with no other group.
CliRun purchaseAs(const passwd& user, const TestCertificates& certs, int port) {
  const std::string cert = certs.clientP12(), ca = certs.caCert(), portText = std::to_string(port);
  const std::string password = certs.password();
  FILE* out = tmpfile();
  FILE* err = tmpfile();
  CliRun run;
  if (out == nullptr || err == nullptr) return run;
  pid_t pid = fork();
  if (pid == 0) {
    if (setgroups(0, nullptr) != 0 || setresgid(user.pw_gid, user.pw_gid, user.pw_gid) != 0 ||
        setresuid(user.pw_uid, user.pw_uid, user.pw_uid) != 0)
      _exit(126);
    if (access(cert.c_str(), R_OK) != 0 || access(ca.c_str(), R_OK) != 0 || access(ZV_TXN_PROGRAM, X_OK) != 0)
      _exit(kUnreachable);
    dup2(fileno(out), STDOUT_FILENO);
    dup2(fileno(err), STDERR_FILENO);
    setenv("ZELVAN_CERT_PASSWORD", password.c_str(), 1);
    execl(ZV_TXN_PROGRAM, ZV_TXN_PROGRAM, "-s", "127.0.0.1", "-p", portText.c_str(), "-c", cert.c_str(),
          "-a", ca.c_str(), "CLIENTID=10000001", "TRANSACTIONTYPE=PURCHASE",
          "CARDDATA=4111111111111111", "CARDEXPIRYDATE=1230", "AMOUNT=12.50", static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
  run.out = contentsOf(out);
  run.err = contentsOf(err);
  return run;
}

}  // namespace

TEST_F(GatewayTrust, Tls13OnlyGatewayThatRequiresItsNameApproves) {
  GatewaySim& sim = gateway({"--tls13-only", "--require-sni", "localhost"});
  // The gateway's certificate names 127.0.0.1 only: reached as localhost,
  // only the chain can be checked.
  auto byName = purchase("localhost", certs_.caCert(), {{"_VERIFYHOST", "off"}});
  EXPECT_EQ(byName->field("RESULT"), "0") << byName->field("ERROR") << byName->field("ERROR_DETAIL");
  auto again = purchase("localhost", certs_.caCert(), {{"_VERIFYHOST", "OFF"}});
  EXPECT_EQ(again->field("RESULT"), "0");
  EXPECT_TRUE(sim.waitForStat("handshakes_resumed", 1)) << "TLS 1.3 tickets are stored and offered";

  // An address sends no server name, and the gateway refuses it.
  expectRefused(*purchase("127.0.0.1", certs_.caCert()), "unrecognized name");
  EXPECT_EQ(sim.stat("messages"), 4) << "two messages for each of the two purchases";
}

TEST_F(GatewayTrust, GatewayMustNameTheServerAndStoredSessionsMustVerify) {
  GatewaySim& sim = gateway();
  // A certificate for another name is refused before anything is sent.
  expectRefused(*purchase("localhost", certs_.caCert()), "hostname mismatch");
  EXPECT_EQ(sim.stat("messages"), 0);

  // Without a CA file nothing is verified; the session it stores is
  // offered only to contexts whose CA file verifies its gateway.
  EXPECT_EQ(purchase("127.0.0.1", "")->field("RESULT"), "0");
  ASSERT_TRUE(sim.waitForStat("handshakes_full", 1));
  expectRefused(*purchase("127.0.0.1", certs_.otherCaCert()), "certificate verify failed");
  expectRefused(*purchase("127.0.0.1", certs_.dir() + "/missing-ca.pem"), "certificate verify failed");
  EXPECT_EQ(sim.stat("handshakes_resumed"), 0);
  EXPECT_EQ(sim.stat("messages"), 2);
  EXPECT_EQ(purchase("127.0.0.1", certs_.caCert())->field("RESULT"), "0");
  EXPECT_TRUE(sim.waitForStat("handshakes_resumed", 1)) << "a session whose gateway verifies is resumed";
}

TEST_F(GatewayTrust, StalledGatewayCostsFiveSecondsThenTheNextServerApproves) {
  gateway();
  StalledServer stalled(sim_->port());
  ASSERT_TRUE(stalled.listening());
  auto start = std::chrono::steady_clock::now();
  auto t = purchase("127.0.0.2,127.0.0.1", certs_.caCert());
  double seconds = secondsSince(start);
  EXPECT_EQ(t->field("RESULT"), "0") << t->field("ERROR");
  EXPECT_GE(seconds, 4.5);
  EXPECT_LT(seconds, 8.0);

  start = std::chrono::steady_clock::now();
  t = purchase("127.0.0.2", certs_.caCert());
  expectRefused(*t, "timed out");
  EXPECT_LT(secondsSince(start), 8.0);
}

// Each certificate authenticates its own transactions: a certificate the
// gateway refuses is not carried by the session another one stored.
TEST_F(GatewayTrust, TwoCertificatesInOneProcessEachUseTheirOwnSession) {
  GatewaySim& sim = gateway();
  EXPECT_EQ(purchase("127.0.0.1", certs_.caCert())->field("RESULT"), "0");
  for (int i = 0; i < 2; i++) {
    auto other = std::make_unique<MerchantTxn>();
    other->settings(certs_, sim.port());
    put_CertificatePath(other->handle(), certs_.otherClientPem().c_str());
    other->purchase();
    EXPECT_EQ(other->execute(), 0);
    expectRefused(*other, "");
  }
  EXPECT_EQ(purchase("127.0.0.1", certs_.caCert())->field("RESULT"), "0");
  EXPECT_TRUE(sim.waitForStat("handshakes_resumed", 1));
  EXPECT_EQ(sim.stat("approved"), 2);
  EXPECT_NE(SessionStoreGuard::segmentOf(certs_.otherClientPem()), -1) << "a segment of its own";
}

// A process of another user that uses the merchant's certificate file
// cannot open the merchant's 0600 store: it makes full handshakes and
// says nothing, and the merchant's stored session stays usable.
TEST_F(GatewayTrust, AnotherUsersProcessMakesFullHandshakesAndPrintsNothing) {
  if (geteuid() != 0) GTEST_SKIP() << "starting a process as another user needs root";
  const passwd* nobody = getpwnam("nobody");
  if (nobody == nullptr || nobody->pw_uid == 0) GTEST_SKIP() << "no unprivileged user named nobody";
  const passwd other = *nobody;
  GatewaySim& sim = gateway();
  // The other user reads the same file, so both users' stores have one key.
  ASSERT_EQ(chmod(certs_.dir().c_str(), 0755), 0);
  ASSERT_EQ(chmod(certs_.clientP12().c_str(), 0644), 0);

  EXPECT_EQ(purchase("127.0.0.1", certs_.caCert())->field("RESULT"), "0");
  ASSERT_TRUE(sim.waitForStat("handshakes_full", 1));
  const int segment = SessionStoreGuard::segmentOf(certs_.clientP12());
  ASSERT_NE(segment, -1) << "the merchant's store";

  for (long run = 1; run <= 2; run++) {
    CliRun cli = purchaseAs(other, certs_, sim.port());
    if (cli.exitCode == kUnreachable) GTEST_SKIP() << "user nobody cannot reach " << certs_.dir() << " or the programs";
    EXPECT_EQ(cli.exitCode, 0) << cli.out << cli.err;
    EXPECT_NE(cli.out.find("RESULT=0\n"), std::string::npos) << cli.out;
    EXPECT_EQ(cli.err, "") << "nothing on the other user's standard error";
    EXPECT_TRUE(sim.waitForStat("handshakes_full", 1 + run)) << "a full handshake each time";
    EXPECT_EQ(sim.stat("handshakes_resumed"), 0);
  }

  EXPECT_EQ(SessionStoreGuard::segmentOf(certs_.clientP12()), segment) << "the other user made no store";
  shmid_ds info;
  ASSERT_EQ(shmctl(segment, IPC_STAT, &info), 0);
  EXPECT_EQ(info.shm_perm.uid, 0u);
  EXPECT_EQ(info.shm_perm.mode & 0777, 0600u);
  EXPECT_EQ(purchase("127.0.0.1", certs_.caCert())->field("RESULT"), "0");
  EXPECT_TRUE(sim.waitForStat("handshakes_resumed", 1)) << "the merchant still resumes its own session";
  EXPECT_EQ(sim.stat("handshakes_full"), 3);
}
