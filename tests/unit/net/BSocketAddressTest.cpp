#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "BSocketAddress.h"
#include "BString.h"

namespace {

std::string text(BString* s) { return s && s->buffer() ? s->buffer() : "(null)"; }

std::string owned(BString* s) {
  std::unique_ptr<BString> holder(s);
  return text(s);
}

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
  EXPECT_EQ(text(any.address()), "<any address on " + std::string(machine) + ">");
  EXPECT_EQ(text(any.hostName()), machine);
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
  EXPECT_EQ(text(address.hostName()), "127.0.0.1");
  EXPECT_EQ(text(address.address()), "127.0.0.1");
  EXPECT_EQ(owned(address.ipAddress()), "127.0.0.1");
}

TEST(BSocketAddress, UnresolvableTextKeepsTheZeroAddress) {
  // Digits and dots only: the resolver rejects it as an address without a
  // query, so the test needs no name server.
  BSocketAddress address("256.1.1.1", 7);
  EXPECT_EQ(text(address.hostName()), "<unknown host>");
  EXPECT_EQ(address.info()->sin_addr.s_addr, 0u);
  EXPECT_EQ(address.port(), 7);
  EXPECT_EQ(text(address.address()), "256.1.1.1");
  EXPECT_EQ(owned(address.ipAddress()), "0.0.0.0");
}

TEST(BSocketAddress, BinaryAddressIsNamedByReverseLookup) {
  sockaddr_in in = loopback(5000);
  BSocketAddress address(&in);
  EXPECT_EQ(address.port(), 5000);
  // 127.0.0.1 has a local reverse entry; the name is whatever it says.
  ASSERT_NE(address.hostName(), nullptr);
  EXPECT_EQ(text(address.address()), text(address.hostName()));
  EXPECT_NE(text(address.address()), "127.0.0.1");
  EXPECT_EQ(owned(address.ipAddress()), "127.0.0.1");
  address.setAddress("127.0.0.1", 81);
  EXPECT_EQ(text(address.hostName()), "127.0.0.1");
}

TEST(BSocketAddress, IsIPStringRefusesEveryText) {
  struct { const char* text; int length; } cases[] = {
    {"10.0.0.1", -1}, {"127.0.0.1", 9}, {"abc", 3}, {"1234567", -1}, {".", 1}, {nullptr, -1},
  };
  for (auto& c : cases) EXPECT_FALSE(BSocketAddress::isIPString(c.text, c.length)) << (c.text ? c.text : "null");
}

}  // namespace
