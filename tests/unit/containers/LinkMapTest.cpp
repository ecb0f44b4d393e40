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

TEST_F(LinkMap, NewestEntryFirst) {
  BLinkMap map;
  map.put("a", "1");
  map.put("b", "2");
  map.put("c", "3");
  EXPECT_EQ(keysOf(map), "cba");
  EXPECT_STREQ(map.get("b"), "2");
  EXPECT_EQ(map.get("zz"), nullptr);
  EXPECT_TRUE(map.contains("a"));
}

TEST_F(LinkMap, DuplicateOwnedKeyIsDeletedAndTheStoredOneStays) {
  BLinkMap map;
  BObject* first = new Counted("k");
  map.put(&first, new Counted("v1"), 1, 1);
  BObject* second = new Counted("k");
  map.put(&second, new Counted("v2"), 1, 1);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(map.size(), 1);
  EXPECT_EQ(Counted::live, 2);
  std::unique_ptr<BVector> keys(map.getKeys());
  EXPECT_EQ(keys->get(0, 0), first);
  EXPECT_STREQ(map.get("k"), "v2");
  map.free();
  EXPECT_EQ(Counted::live, 0);
}

TEST_F(LinkMap, UnownedObjectsOutliveTheMap) {
  Counted key("k"), value("v");
  {
    BLinkMap map;
    BObject* k = &key;
    map.put(&k, &value, 0, 0);
    BObject* again = new Counted("k");
    map.put(&again, &value, 0, 0);
    EXPECT_NE(again, nullptr);
    delete again;
  }
  EXPECT_EQ(Counted::live, 2);
}

// Removal from the head, the middle and the tail; null keys are stored
// but never matched.
TEST_F(LinkMap, RemoveKeepsTheChainConsistentAndNullKeysAreNeverMatched) {
  BLinkMap map;
  for (const char* k : {"a", "b", "c", "d"}) map.put(k, "v");
  map.remove("d");
  map.remove("b");
  EXPECT_EQ(keysOf(map), "ca");
  map.remove("a");
  EXPECT_EQ(keysOf(map), "c");
  map.remove("x");
  map.remove(static_cast<BObject*>(nullptr));
  EXPECT_EQ(map.size(), 1);

  for (int i = 0; i < 2; i++) {
    BObject* none = nullptr;
    map.put(&none, nullptr, 1, 1);
  }
  EXPECT_EQ(map.size(), 3);
  EXPECT_FALSE(map.contains(static_cast<BObject*>(nullptr)));
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
