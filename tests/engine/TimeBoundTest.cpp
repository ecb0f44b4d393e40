#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

#include "engineTestSupport.h"

namespace {

// A TCP port of 127.0.0.1 that accepts connections (the kernel completes
// them) but never speaks: every handshake with it stalls.
class SilentPort {
 public:
  SilentPort() : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof a;
    if (bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || listen(fd_, 8) != 0 ||
        getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &length) != 0) {
      ADD_FAILURE() << "no silent port";
    }
    port_ = ntohs(a.sin_port);
  }
  ~SilentPort() { close(fd_); }
  int port() const { return port_; }

 private:
  int fd_;
  int port_ = 0;
};

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

// Every server accepts the connection and stalls the handshake: nothing
// was sent, so the payment is safe to run again.
TEST_F(EngineTest, TheTimeBoundEndsStalledHandshakesWithNoDecision) {
  SilentPort first;
  MerchantTxn& t = purchase(first.port());
  put(t.handle(), "_TIMEOUT", "3000");
  // The port is the same for every server: the list names it twice.
  setServers(t.handle(), "127.0.0.1, 127.0.0.1");
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(t.execute(), 0);
  EXPECT_LT(secondsSince(start), 15);
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_NO_DECISION);
  EXPECT_EQ(t.field("ERROR"), "TRANSACTION TIMED OUT");
  EXPECT_EQ(t.field("ERROR_DETAIL"), "The payment's time bound of 3000 ms ran out during the SSL handshake.");
}
