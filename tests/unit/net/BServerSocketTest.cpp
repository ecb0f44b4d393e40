#include <gtest/gtest.h>
#include <sys/socket.h>

#include <memory>

#include "loopback.h"

namespace {

TEST(BServerSocket, ListenNeedsABindAndTakesAQueueOfAtLeastOne) {
  ProbedServer server;
  EXPECT_FALSE(server.listen(5));
  ASSERT_TRUE(server.bind(0, "127.0.0.1"));
  EXPECT_FALSE(server.bind(0, "127.0.0.1"));
  EXPECT_TRUE(server.listen(0));
  EXPECT_EQ(server.queueLength(), 1);
  EXPECT_FALSE(server.listen(7));
  // The port given to bind until the system is asked for the one it chose.
  EXPECT_EQ(server.getLocalPort(), 0);
  server.queryLocalHost();
  EXPECT_GT(server.getLocalPort(), 0);
}

TEST(BServerSocket, AcceptNarratesWhenVerboseAndMakesNoSocketForAFailedAccept) {
  LoopbackServer server;
  server.setVerbose(1);
  BSocket client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), 2000));

  testing::internal::CaptureStdout();
  std::unique_ptr<BSocket> peer(server.accept());
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Accepting socket connections...\r\nServer socket bound...\r\n"
            "Server socket listening...\r\nMaking socket object for connection\r\n"
            "Connection has been accepted\r\n");
  ASSERT_NE(peer, nullptr);
  EXPECT_TRUE(peer->isConnected());

  // Nothing pending on a non-blocking descriptor: no socket is made.
  fcntl(server.fd(), F_SETFL, O_NONBLOCK);
  testing::internal::CaptureStdout();
  EXPECT_EQ(server.accept(), nullptr);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("Invalid connection was returned\r\n"), std::string::npos) << out;
  EXPECT_EQ(server.makeSocket(-1, nullptr, nullptr), nullptr);
}

TEST(BServerSocket, CloseStopsListeningAndNoDescriptorOutlivesTheObject) {
  LoopbackServer server;
  int fd = server.fd();
  EXPECT_TRUE(server.close());
  EXPECT_FALSE(server.isOpen());
  EXPECT_FALSE(isOpenDescriptor(fd));
  EXPECT_FALSE(server.close());

  // A socket that never listened cannot be shut down: close() keeps it,
  // destruction releases it.
  int neverListened;
  {
    ProbedServer idle;
    neverListened = idle.fd();
    EXPECT_TRUE(idle.close());
    EXPECT_TRUE(idle.isOpen());
  }
  EXPECT_FALSE(isOpenDescriptor(neverListened));
}

}  // namespace
