#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "BSocketAddress.h"
#include "BString.h"
#include "testText.h"

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in in{};
  in.sin_family = AF_INET;
  in.sin_port = htons(port);
  in.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return in;
}

TEST(BSocketAddress, NoHostMeansAnyLocalAddressOnTheDefaultPort) {
  char machine[256] = {};
  ASSERT_EQ(gethostname(machine, sizeof machine - 1), 0);
  BSocketAddress any(nullptr, -1);
  EXPECT_EQ(any.port(), 3444);
  EXPECT_EQ(textOf(any.address()), "<any address on " + std::string(machine) + ">");
  EXPECT_EQ(textOf(any.hostName()), machine);
  EXPECT_EQ(any.info()->sin_addr.s_addr, htonl(INADDR_ANY));
  EXPECT_EQ(ntohs(any.info()->sin_port), 3444);
}

TEST(BSocketAddress, DottedTextResolvesToItselfAndPrintsItsBytesWhenVerbose) {
  BSocketAddress address("127.0.0.1", 80);
  address.setVerbose(1);
  testing::internal::CaptureStdout();
  sockaddr_in* in = address.info();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ip #1 = 127\r\nip #2 = 0\r\nip #3 = 0\r\nip #4 = 1\r\n");
  EXPECT_EQ(in->sin_family, AF_INET);
  EXPECT_EQ(in->sin_addr.s_addr, htonl(INADDR_LOOPBACK));
  EXPECT_EQ(ntohs(in->sin_port), 80);
  EXPECT_EQ(textOf(address.hostName()), "127.0.0.1");
  EXPECT_EQ(textOf(address.address()), "127.0.0.1");
  EXPECT_EQ(takeText(address.ipAddress()), "127.0.0.1");
}

TEST(BSocketAddress, UnresolvableTextKeepsTheZeroAddress) {
  // Digits and dots only: the resolver rejects it as an address without a
  // query, so the test needs no name server.
  BSocketAddress address("256.1.1.1", 7);
  EXPECT_EQ(textOf(address.hostName()), "<unknown host>");
  EXPECT_EQ(address.info()->sin_addr.s_addr, 0u);
  EXPECT_EQ(address.port(), 7);
  EXPECT_EQ(textOf(address.address()), "256.1.1.1");
  EXPECT_EQ(takeText(address.ipAddress()), "0.0.0.0");
}

TEST(BSocketAddress, BinaryAddressIsNamedByReverseLookup) {
  sockaddr_in in = loopback(5000);
  BSocketAddress address(&in);
  EXPECT_EQ(address.port(), 5000);
  // 127.0.0.1 has a local reverse entry; the name is whatever it says.
  ASSERT_NE(address.hostName(), nullptr);
  EXPECT_EQ(textOf(address.address()), textOf(address.hostName()));
  EXPECT_NE(textOf(address.address()), "127.0.0.1");
  EXPECT_EQ(takeText(address.ipAddress()), "127.0.0.1");
  address.setAddress("127.0.0.1", 81);
  EXPECT_EQ(textOf(address.hostName()), "127.0.0.1");
}

}  // namespace
