#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "engineTestSupport.h"

namespace {

// Listens on [::1] at port and relays one connection to 127.0.0.1 at the
// same port, where the simulator listens: the gateway as reached over
// IPv6.
class Ipv6Relay {
 public:
  explicit Ipv6Relay(int port) : listener_(socket(AF_INET6, SOCK_STREAM, 0)) {
    int on = 1;
    setsockopt(listener_, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    sockaddr_in6 a{};
    a.sin6_family = AF_INET6;
    a.sin6_addr = in6addr_loopback;
    a.sin6_port = htons(port);
    ok_ = bind(listener_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 && listen(listener_, 4) == 0;
    if (ok_) thread_ = std::thread([this, port] { relay(port); });
  }
  ~Ipv6Relay() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    close(listener_);
  }
  bool ok() const { return ok_; }

 private:
  void relay(int port) {
    pollfd waiting{listener_, POLLIN, 0};
    while (!stop_ && poll(&waiting, 1, 100) == 0) {}
    if (stop_) return;
    int client = accept(listener_, nullptr, nullptr);
    int gateway = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in g{};
    g.sin_family = AF_INET;
    g.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    g.sin_port = htons(port);
    if (client >= 0 && connect(gateway, reinterpret_cast<sockaddr*>(&g), sizeof g) == 0) pump(client, gateway);
    close(gateway);
    if (client >= 0) close(client);
  }
  void pump(int a, int b) {
    char buffer[4096];
    for (;;) {
      pollfd both[2] = {{a, POLLIN, 0}, {b, POLLIN, 0}};
      if (stop_ || poll(both, 2, 100) < 0) return;
      for (int i = 0; i < 2; i++) {
        if (both[i].revents == 0) continue;
        ssize_t n = read(both[i].fd, buffer, sizeof buffer);
        if (n <= 0 || write(both[1 - i].fd, buffer, n) != n) return;
      }
    }
  }

  int listener_;
  bool ok_ = false;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace

TEST_F(EngineTest, APurchaseReachesTheGatewayOverIpv6) {
  GatewaySim& sim = gateway();
  for (const char* server : {"::1", "[::1]"}) {
    Ipv6Relay relay(sim.port());
    if (!relay.ok()) GTEST_SKIP() << "no IPv6 loopback";
    MerchantTxn t;
    t.logTo(logPath());
    t.settings(certs_, sim.port());
    t.purchase();
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
