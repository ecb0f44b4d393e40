// Subclasses written with the documented virtual signatures, each marked
// override, so that a signature that drifts stops this file compiling;
// the calls go through base pointers and must reach the subclasses. Links
// the shared library only, as an application does.
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "BHashTable.h"
#include "BLinkMap.h"
#include "BMap.h"
#include "BMemoryTable.h"
#include "BServerSocket.h"
#include "BSocket.h"
#include "zelvanclient.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

using Calls = std::multiset<std::string>;

struct Root : BObject {
  Calls calls;
  int64_t hashCode() override { return calls.insert("hashCode"), 7; }
  bool equals(BObject*) override { return calls.insert("equals"), true; }
  unsigned char setVerbose(unsigned char flag) override {
    calls.insert("setVerbose");
    return BObject::setVerbose(flag);
  }
  BString* toString() override { return calls.insert("toString"), new BString("root"); }
  const char* classType() override { return calls.insert("classType"), "BObject:Root"; }
};

// The text-key slots of an existing map, and those that BMap's text form
// and parser use, recorded and passed on.
template <class Map>
struct TextKeys : Map {
  Calls calls;
  void put(BObject** key, BObject* value, unsigned char ownKey, unsigned char ownValue) override {
    calls.insert("put object"), Map::put(key, value, ownKey, ownValue);
  }
  BVector* getValues() override { return calls.insert("getValues"), Map::getValues(); }
  char* get(char* key) override { return calls.insert("get"), Map::get(key); }
  unsigned char contains(char* key) override { return calls.insert("contains"), Map::contains(key); }
  unsigned char contains(BObject* key) override {
    return calls.insert("contains object"), Map::contains(key);
  }
  void put(char* key, char* value) override { calls.insert("put"), Map::put(key, value); }
  void remove(char* key) override { calls.insert("remove"), Map::remove(key); }
};

// Every slot of a client socket, recorded and passed on.
struct SpySocket : BSocket {
  Calls calls;
  SpySocket() = default;
  SpySocket(int fd, sockaddr_in* remote, sockaddr_in* local) : BSocket(fd, remote, local) {}
  void setError(int code) override { calls.insert("setError"), BSocket::setError(code); }
  bool connect(char* host, int port) override {
    return calls.insert("connect"), BSocket::connect(host, port);
  }
  bool connect(char* host, int port, int timeoutMs) override {
    return calls.insert("connect timed"), BSocket::connect(host, port, timeoutMs);
  }
  int read(char* buf, int len) override { return calls.insert("read"), BSocket::read(buf, len); }
  int write(char* buf, int len) override { return calls.insert("write"), BSocket::write(buf, len); }
  int getSocket() override { return calls.insert("getSocket"), BSocket::getSocket(); }
  bool setSoTimeOut(int value, unsigned char receive) override {
    return calls.insert("setSoTimeOut"), BSocket::setSoTimeOut(value, receive);
  }
  bool close() override { return calls.insert("close"), BSocket::close(); }
  int setNonBlocking() override { return calls.insert("setNonBlocking"), BSocket::setNonBlocking(); }
  int setBlocking() override { return calls.insert("setBlocking"), BSocket::setBlocking(); }
  bool waitforConnect(int timeoutMs) override {
    return calls.insert("waitforConnect"), BSocket::waitforConnect(timeoutMs);
  }
  bool waitforData(int timeoutMs) override {
    return calls.insert("waitforData"), BSocket::waitforData(timeoutMs);
  }
};

struct SpyServer : BServerSocket {
  BSocket* makeSocket(int fd, sockaddr_in* remote, sockaddr_in* local) override {
    return new SpySocket(fd, remote, local);
  }
};

// Exercises a map through the interface, with literal keys and char* ones.
// What each call returns is the containers' own tests' concern; here only
// the slots it reaches count.
void useAsMap(BMap* map) {
  char key[] = "K";
  map->put("K", "1");
  map->put(key, key);
  EXPECT_STREQ(map->get("K"), "K");
  map->contains(key);
  delete map->toString();
  map->remove("K");
  map->get(key);
  EXPECT_EQ(map->addAll("RESULT=0\r\n_LOCAL=1\r\nEND\r\n"), 2);
  delete map->toString("_");
}

}  // namespace

TEST(Overrides, ObjectSlotsReachTheSubclass) {
  Root root;
  BObject* base = &root;
  EXPECT_EQ(base->hashCode(), 7);
  EXPECT_TRUE(base->equals(nullptr));
  base->setVerbose(1);
  delete base->toString();
  EXPECT_TRUE(base->instanceOf("BObject:Ro"));
  EXPECT_EQ(root.calls, (Calls{"classType", "equals", "hashCode", "setVerbose", "toString"}));
}

TEST(Overrides, EveryMapTakesTextKeysAndTextFormsThroughItsOwnSlots) {
  // put(char*, char*) stores through the object slot too.
  const Calls expected{"contains", "contains object", "get", "get", "getValues", "getValues", "put", "put",
                       "put object", "put object", "put object", "put object", "remove"};
  TextKeys<BHashTable> table;
  useAsMap(&table);
  EXPECT_EQ(table.calls, expected);
  TextKeys<BLinkMap> chain;
  useAsMap(&chain);
  EXPECT_EQ(chain.calls, expected);
}

// The library's own calls (connect's time-out steps, accept's factory, a
// read's error code) go through the slots, so a subclass sees every one.
TEST(Overrides, SocketSlotsAndTheServerFactoryReachTheSubclasses) {
  SpyServer server;
  BServerSocket* listening = &server;
  ASSERT_TRUE(listening->bind(0, "127.0.0.1"));
  ASSERT_TRUE(listening->listen(1));
  listening->queryLocalHost();

  SpySocket client;
  BSocket* base = &client;
  ASSERT_TRUE(base->connect("127.0.0.1", listening->getLocalPort(), 1000));
  EXPECT_EQ(client.calls, (Calls{"connect timed", "setBlocking", "setNonBlocking", "waitforConnect"}));

  BSocket* accepted = listening->accept();
  ASSERT_NE(dynamic_cast<SpySocket*>(accepted), nullptr);
  EXPECT_EQ(base->write("ping", 4), 4);
  char reply[8] = {};
  ASSERT_TRUE(accepted->waitforData(1000));
  EXPECT_EQ(accepted->read(reply, sizeof reply), 4);
  EXPECT_FALSE(accepted->waitforData(10));
  EXPECT_EQ(static_cast<SpySocket*>(accepted)->calls, (Calls{"read", "setError", "waitforData", "waitforData"}));
  delete accepted;
}

// ctest runs each test in a process of its own, so this one sees the
// library exactly as it is after loading.
TEST(Tracker, FreshProcessHasNoTableAndTraceThenRecords) {
  CaptureStdout();
  BMemoryTable::report();
  EXPECT_EQ(GetCapturedStdout(), "Memory Table report - table not active\n");

  BMemoryTable::trace(1);
  txn* t = newBundle();
  put(t, "CLIENTID", "10000001");
  cleanup(t);
  EXPECT_GT(kNumCreates, 1u);
  EXPECT_GT(kMemoryTable->size(), 0);
  BMemoryTable::free();
}
