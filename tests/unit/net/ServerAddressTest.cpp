#include <gtest/gtest.h>
#include <netinet/in.h>

#include <string>
#include <vector>

#include "BSocket.h"
#include "RawListener.h"
#include "ServerAddress.h"
#include "addressConnect.h"

namespace {

std::vector<ServerAddress> resolved(const std::string& entry, int port) {
  std::vector<ServerAddress> addresses;
  std::string error;
  EXPECT_TRUE(resolveServerAddresses(entry, port, &addresses, &error)) << entry << ": " << error;
  return addresses;
}

TEST(ServerAddress, LiteralsResolveToTheAddressTheyNameWithItsText) {
  struct { const char* entry; int family; const char* text; } cases[] = {
      {"::1", AF_INET6, "[::1]"},
      {"[::1]", AF_INET6, "[::1]"},
      {"127.0.0.1", AF_INET, "127.0.0.1"},
      {"[::ffff:127.0.0.1]", AF_INET6, "[::ffff:127.0.0.1]"},
      // Texts are canonical, and the resolver's shorter IPv4 forms still
      // resolve.
      {"0:0::1", AF_INET6, "[::1]"},
      {"127.1", AF_INET, "127.0.0.1"},
  };
  for (auto& c : cases) {
    std::vector<ServerAddress> addresses = resolved(c.entry, 443);
    ASSERT_EQ(addresses.size(), 1u) << c.entry;
    EXPECT_EQ(addresses[0].family(), c.family) << c.entry;
    EXPECT_EQ(addresses[0].text, c.text) << c.entry;
    EXPECT_EQ(addresses[0].withPort(), std::string(c.text) + ":443") << c.entry;
  }
  EXPECT_FALSE(resolved("localhost", 443).empty());
}

TEST(ServerAddress, EntriesThatNameNoAddressGiveASentenceNamingThem) {
  struct { const char* entry; int port; const char* error; } cases[] = {
      {"no-such-host.invalid", 443, "The name [no-such-host.invalid] could not be resolved: "},
      {"[::1", 443, "[[::1] is not a host name or an address."},
      {"[127.0.0.1]", 443, "[[127.0.0.1]] is not a host name or an address."},
      {"", 443, "[] is not a host name or an address."},
      {"::1", 0, "The port 0 is invalid: it must be a whole number from 1 to 65535."},
      {"::1", 65536, "The port 65536 is invalid: it must be a whole number from 1 to 65535."},
  };
  for (auto& c : cases) {
    std::vector<ServerAddress> addresses(1);
    std::string error;
    EXPECT_FALSE(resolveServerAddresses(c.entry, c.port, &addresses, &error)) << c.entry;
    EXPECT_TRUE(addresses.empty()) << c.entry;
    EXPECT_EQ(error.rfind(c.error, 0), 0u) << c.entry << ": " << error;
  }
}

// What a BSocket wrapping the connected descriptor reads from the peer.
std::string echoThroughBSocket(int fd, const sockaddr_in* remote, const OwnedDescriptor& peer) {
  BSocket socket(fd, remote, nullptr);
  EXPECT_EQ(socket.write("ping", 4), 4);
  char buf[16] = {};
  EXPECT_EQ(read(peer.get(), buf, sizeof buf), 4);
  EXPECT_EQ(write(peer.get(), "pong", 4), 4);
  EXPECT_TRUE(socket.waitforData(5000));
  int n = socket.read(buf, sizeof buf);
  return std::string(buf, n > 0 ? n : 0);
}

TEST(AddressConnect, ConnectedDescriptorsOfBothFamiliesWorkInsideABSocket) {
  for (const char* host : {"::1", "127.0.0.1"}) {
    RawListener listener(host, true);
    ASSERT_TRUE(listener.ok()) << host;
    std::vector<ServerAddress> addresses = resolved(host, listener.port());
    OwnedDescriptor connected;
    size_t answered = 9;
    std::string error;
    ASSERT_TRUE(connectToAddresses(addresses, Deadline(), &connected, &answered, &error)) << error;
    EXPECT_EQ(answered, 0u);
    OwnedDescriptor peer = listener.accept();
    // An IPv4 address goes into the BSocket as it is; an IPv6 socket is
    // wrapped without addresses, the address text being the list's.
    const sockaddr_in* remote = addresses[0].family() == AF_INET
                                    ? reinterpret_cast<const sockaddr_in*>(&addresses[0].address)
                                    : nullptr;
    EXPECT_EQ(echoThroughBSocket(connected.release(), remote, peer), "pong") << host;
  }
}

TEST(AddressConnect, TriesTheNextAddressWhenOneRefusesAndReportsTheLastFailure) {
  RawListener refusingV6("::1", false), refusingV4("127.0.0.1", false);
  RawListener listening("127.0.0.1", true);
  ASSERT_TRUE(refusingV6.ok() && refusingV4.ok() && listening.ok());
  std::vector<ServerAddress> list = resolved("::1", refusingV6.port());
  std::vector<ServerAddress> v4 = resolved("127.0.0.1", listening.port());
  list.push_back(v4[0]);

  OwnedDescriptor connected;
  size_t answered = 9;
  std::string error;
  ASSERT_TRUE(connectToAddresses(list, Deadline(), &connected, &answered, &error)) << error;
  EXPECT_EQ(answered, 1u);
  OwnedDescriptor peer = listening.accept();
  EXPECT_TRUE(peer.valid());

  list[1] = resolved("127.0.0.1", refusingV4.port())[0];
  EXPECT_FALSE(connectToAddresses(list, Deadline(), &connected, &answered, &error));
  EXPECT_FALSE(connected.valid());
  EXPECT_EQ(error, "Connection to 127.0.0.1:" + std::to_string(refusingV4.port()) + " was refused.");

  // A deadline already over tries nothing.
  EXPECT_FALSE(connectToAddresses(v4, Deadline::after(0), &connected, &answered, &error));
  EXPECT_EQ(error, "The deadline passed before a connection to 127.0.0.1:" +
                       std::to_string(listening.port()) + " was tried.");
}

}  // namespace
