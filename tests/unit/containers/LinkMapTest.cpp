#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "BLinkMap.h"
#include "BLinkMapEntry.h"
#include "BString.h"
#include "BVector.h"
#include "Counted.h"
#include "testText.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

class LinkMap : public testing::Test {
 protected:
  void SetUp() override { Counted::live = 0; }
};

namespace {

std::string keysOf(BMap& map) {
  std::unique_ptr<BVector> keys(map.getKeys());
  std::string out;
  for (int i = 0; i < keys->size(); i++) out += textOf(static_cast<BString*>(keys->get(i, 0)));
  return out;
}

}  // namespace

// Entries come newest first; removal from the head, the middle and the
// tail keeps the chain whole; null keys are stored but never matched.
TEST_F(LinkMap, NewestFirstAndRemoveKeepsTheChainConsistent) {
  BLinkMap map;
  for (const char* k : {"a", "b", "c", "d"}) map.put(k, k);
  EXPECT_EQ(keysOf(map), "dcba");
  EXPECT_STREQ(map.get("b"), "b");
  map.remove("d");
  map.remove("b");
  EXPECT_EQ(keysOf(map), "ca");
  map.remove("a");
  map.remove("x");
  map.remove(static_cast<BObject*>(nullptr));
  EXPECT_EQ(keysOf(map), "c");

  for (int i = 0; i < 2; i++) {
    BObject* none = nullptr;
    map.put(&none, nullptr, 1, 1);
  }
  EXPECT_EQ(map.size(), 3);
  EXPECT_FALSE(map.contains(static_cast<BObject*>(nullptr)));
}

// An equal key put again: an owned one is deleted (and nulled) and the
// stored key stays; an unowned one is left to the caller.
TEST_F(LinkMap, DuplicateKeysAndUnownedObjects) {
  Counted key("k"), value("v");
  {
    BLinkMap map;
    BObject* first = new Counted("k");
    map.put(&first, new Counted("v1"), 1, 1);
    BObject* second = new Counted("k");
    map.put(&second, new Counted("v2"), 1, 1);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(map.size(), 1);
    EXPECT_EQ(Counted::live, 4);
    std::unique_ptr<BVector> keys(map.getKeys());
    EXPECT_EQ(keys->get(0, 0), first);
    EXPECT_STREQ(map.get("k"), "v2");

    BObject* unowned = &key;
    map.put(&unowned, &value, 0, 0);
    EXPECT_EQ(unowned, &key);
    EXPECT_EQ(map.size(), 1);
  }
  EXPECT_EQ(Counted::live, 2);
}

TEST_F(LinkMap, DumpedEntriesBelongToTheCaller) {
  BLinkMapEntry* entries[2];
  {
    BLinkMap map;
    BObject* k1 = new Counted("1");
    BObject* k2 = new Counted("2");
    map.put(&k1, nullptr, 1, 0);
    map.put(&k2, nullptr, 1, 0);
    EXPECT_EQ(map.dumpEntries(entries), 2);
    EXPECT_EQ(map.size(), 0);
    EXPECT_EQ(entries[0]->getNext(), nullptr);
  }
  EXPECT_EQ(Counted::live, 2);
  delete entries[0];
  delete entries[1];
  EXPECT_EQ(Counted::live, 0);
}

TEST_F(LinkMap, VerboseEntryTracesItsDeletion) {
  BLinkMapEntry* entry = new BLinkMapEntry(new BString("A"), new BString("1"), 1, 1);
  entry->setVerbose(1);
  CaptureStdout();
  delete entry;
  EXPECT_EQ(GetCapturedStdout(),
            "** deleting map entry 'A=1'...\n"
            "   freeing key object: A fo type BObject:BString\n"
            "   freeing value object: 1\n");

  BLinkMapEntry* unowned = new BLinkMapEntry(nullptr, nullptr, 0, 0);
  unowned->setVerbose(1);
  CaptureStdout();
  delete unowned;
  EXPECT_EQ(GetCapturedStdout(),
            "** deleting map entry '<null>=<null>'...\n"
            "   not freeing key object\n"
            "   not freeing value object\n");
}
