#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <string>

#include "BSocketLibrary.h"
#include "BString.h"
#include "loopback.h"
#include "testText.h"

namespace {

TEST(BSocket, ConnectsWithTimeOutAndEndsCleanly) {
  LoopbackServer server;
  ProbedSocket client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), 2000)) << client.getError();
  EXPECT_FALSE(isNonBlocking(client.getSocket()));
  std::unique_ptr<BSocket> peer(server.accept());
  ASSERT_NE(peer, nullptr);

  EXPECT_EQ(textOf(client.getRemoteAddress()), "127.0.0.1");
  EXPECT_EQ(client.getRemotePort(), server.port());
  EXPECT_EQ(peer->getRemotePort(), client.getLocalPort());
  EXPECT_NE(peer->getRemoteAddress(), nullptr);

  EXPECT_FALSE(client.connect("127.0.0.1", server.port(), 2000));
  EXPECT_EQ(client.code(), 2);
  // Connects by name, and blocking ones, record the address reached too.
  BSocket byName, blocking;
  ASSERT_TRUE(byName.connect("localhost", server.port(), 2000)) << byName.getError();
  ASSERT_TRUE(blocking.connect("127.0.0.1", server.port()));
  EXPECT_FALSE(blocking.connect("127.0.0.1", server.port()));
  EXPECT_EQ(textOf(byName.getRemoteAddress()) + " " + textOf(blocking.getRemoteAddress()), "127.0.0.1 127.0.0.1");

  // End of stream reads as -1, and writing to the departed peer fails
  // instead of raising SIGPIPE.
  peer.reset();
  char buf[8];
  EXPECT_EQ(client.read(buf, sizeof buf), -1);
  int sent = 0;
  for (int i = 0; i < 100 && sent != -1; ++i) sent = client.write("x", 1);
  EXPECT_EQ(sent, -1);

  EXPECT_TRUE(client.close());
  EXPECT_FALSE(client.close());
  EXPECT_TRUE(client.isConnected());
  EXPECT_EQ(client.write("x", 1), -1);
}

TEST(BSocket, FailedConnectsLeaveTheSocketBlockingWithTheirCode) {
  // Bound but not listening: nobody else can take the port, and a connect
  // to it is refused.
  BSocket holder;
  ASSERT_TRUE(holder.bind(0, "127.0.0.1"));
  EXPECT_FALSE(holder.bind(0, "127.0.0.1"));
  holder.queryLocalHost();
  int closedPort = holder.getLocalPort();
  ASSERT_GT(closedPort, 0);

  ProbedSocket refused;
  EXPECT_FALSE(refused.connect("127.0.0.1", closedPort, 2000));
  EXPECT_TRUE(refused.code() == 2 || refused.code() == 8) << refused.code();
  EXPECT_FALSE(isNonBlocking(refused.getSocket()));
  EXPECT_EQ(refused.getRemoteAddress(), nullptr);

  ProbedSocket hasty;
  EXPECT_FALSE(hasty.connect("127.0.0.1", closedPort, 499));
  EXPECT_EQ(hasty.code(), 13);

  // Made of digits and dots only, "256.1.1.1" is taken by the resolver as
  // an address and, being no valid one, rejected on the spot without a
  // query to a name server (an unknown name would wait for one).
  ProbedSocket unresolved;
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(unresolved.connect("256.1.1.1", closedPort, 2000));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(unresolved.code(), 12);
  EXPECT_FALSE(isNonBlocking(unresolved.getSocket()));

  ProbedSocket closed;
  closed.close();
  EXPECT_FALSE(closed.connect("127.0.0.1", closedPort, 2000));
  EXPECT_EQ(closed.code(), 15);
}

TEST(BSocket, WaitsRefuseShortTimeOutsWithoutPolling) {
  LoopbackServer server;
  ProbedSocket client;
  ASSERT_TRUE(client.connect("127.0.0.1", server.port(), 2000));
  std::unique_ptr<BSocket> peer(server.accept());
  ASSERT_NE(peer, nullptr);
  ASSERT_EQ(peer->write("x", 1), 1);

  // Data is pending, so only a refusal before polling can fail this wait.
  EXPECT_FALSE(client.waitforData(499));
  EXPECT_EQ(client.code(), 13);
  EXPECT_TRUE(client.waitforData(500));
  EXPECT_TRUE(client.waitforConnect(500));
  char c;
  EXPECT_EQ(client.read(&c, 1), 1);
  EXPECT_FALSE(client.waitforData(500));
  EXPECT_EQ(client.code(), 8);

  struct OnStandardInput : ProbedSocket {
    OnStandardInput() { close(); socket = 0; }
    ~OnStandardInput() override { socket = -1; }  // leave stdin open
  } stdinSocket;
  EXPECT_FALSE(stdinSocket.waitforData(1000));
  EXPECT_EQ(stdinSocket.code(), 7);
}

TEST(BSocketLibrary, CountsClientSocketsAndSpeaksForFirstAndLastUser) {
  BSocketLibrary::freeSocketLibrary(1);
  mVerbose = 1;
  testing::internal::CaptureStdout();
  {
    BSocket a;
    BSocketLibrary b;
    EXPECT_EQ(kNumLibraryInits, 2);
    // A wrapped descriptor never registered but releases a user all the same.
    { BSocket wrapped(-1, nullptr, nullptr); }
  }
  EXPECT_EQ(kNumLibraryInits, 0);
  EXPECT_TRUE(BSocketLibrary::freeSocketLibrary(0));
  EXPECT_EQ(kNumLibraryInits, 0);
  for (int i = 0; i < 3; ++i) BSocketLibrary::initSocketLibrary();
  EXPECT_TRUE(BSocketLibrary::freeSocketLibrary(1));
  EXPECT_FALSE(BSocketLibrary::socketLibraryInited());
  kNumLibraryInits = -1;
  EXPECT_FALSE(BSocketLibrary::initSocketLibrary());
  mVerbose = 0;
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Socket library successfully inited :)\r\n"
            "Socket library successfully free-ed :)\r\n"
            "Socket library successfully inited :)\r\n"
            "Socket library successfully free-ed :)\r\n"
            "Socket library initialisation failed :(\r\n");
  kNumLibraryInits = 0;
}

}  // namespace
