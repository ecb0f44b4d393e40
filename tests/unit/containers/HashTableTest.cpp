#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "BHashTable.h"
#include "BInteger.h"
#include "BLinkMap.h"
#include "BString.h"
#include "BVector.h"
#include "Counted.h"

class HashTable : public testing::Test {
 protected:
  void SetUp() override { Counted::live = 0; }
};

namespace {

// Exposes the bucket count, which the growth rules are about.
struct InspectedTable : BHashTable {
  int buckets() { return m_bucketCount; }
};

// A key whose hash code is chosen by the test, to steer entries into one
// bucket.
class FixedHashKey : public BString {
 public:
  FixedHashKey(const char* s, int64_t hash) : BString(s), hash_(hash) {}
  int64_t hashCode() override { return hash_; }

 private:
  int64_t hash_;
};

}  // namespace

TEST_F(HashTable, ReplacingAValueDestroysTheOldOne) {
  BHashTable table;
  table.put("A", "1");
  table.put("A", "2");
  EXPECT_EQ(table.size(), 1);
  EXPECT_STREQ(table.get("A"), "2");

  BObject* key = new Counted("K");
  table.put(&key, new Counted("old"), 1, 1);
  BObject* sameKey = new Counted("K");
  table.put(&sameKey, new Counted("new"), 0, 1);
  EXPECT_NE(sameKey, nullptr);
  EXPECT_EQ(Counted::live, 3);
  delete sameKey;
  table.remove("K");
  EXPECT_EQ(Counted::live, 0);
}

TEST_F(HashTable, EmptyValuesReadLikeMissingOnes) {
  BHashTable table;
  table.put("K", nullptr);
  table.put("E", "");
  EXPECT_TRUE(table.contains("K"));
  EXPECT_EQ(table.get("K"), nullptr);
  EXPECT_EQ(table.get("E"), nullptr);
  EXPECT_EQ(table.get("missing"), nullptr);
}

TEST_F(HashTable, NonStringValues) {
  BHashTable table;
  BObject* key = new BString("X");
  table.put(&key, new BInteger(5), 1, 1);
  EXPECT_EQ(table.get("X"), nullptr);
  BString probe("X");
  EXPECT_TRUE(table.get(&probe)->instanceOf("BObject:BInteger"));
  std::unique_ptr<BString> text(table.getString("X"));
  EXPECT_STREQ(text->buffer(), "class of type 'BObject:BInteger'");
  table.put("S", "s");
  EXPECT_STREQ(table.getString("S")->buffer(), "s");
  EXPECT_EQ(table.getString("none"), nullptr);
}

TEST_F(HashTable, NullKeysAreRefused) {
  BHashTable table;
  BObject* none = nullptr;
  Counted value("v");
  table.put(&none, &value, 1, 1);
  EXPECT_EQ(table.size(), 0);
  EXPECT_EQ(table.get(static_cast<BObject*>(nullptr)), nullptr);
  table.put("a", "1");
  EXPECT_FALSE(table.contains(static_cast<BObject*>(nullptr)));
  table.remove(static_cast<BObject*>(nullptr));
  EXPECT_EQ(table.size(), 1);
}

TEST_F(HashTable, GrowsByThirtyOnceAChainPassesTen) {
  InspectedTable table;
  EXPECT_EQ(table.buckets(), 0);
  for (int i = 0; i < 11; i++) {
    BObject* key = new FixedHashKey(std::to_string(i).c_str(), 30 * i);
    table.put(&key, nullptr, 1, 0);
  }
  EXPECT_EQ(table.buckets(), 30);
  BObject* twelfth = new FixedHashKey("11", 7);
  table.put(&twelfth, nullptr, 1, 0);
  EXPECT_EQ(table.buckets(), 60);
  EXPECT_EQ(table.size(), 12);
  FixedHashKey probe("5", 150);
  EXPECT_TRUE(table.contains(&probe));
}

TEST_F(HashTable, EqualHashesNeverSpread) {
  InspectedTable table;
  for (int i = 0; i < 12; i++) {
    BObject* key = new FixedHashKey(std::to_string(i).c_str(), -42);
    table.put(&key, nullptr, 1, 0);
  }
  EXPECT_EQ(table.buckets(), 60);
  BObject* key = new FixedHashKey("12", -42);
  table.put(&key, nullptr, 1, 0);
  EXPECT_EQ(table.buckets(), 90);
  EXPECT_EQ(table.size(), 13);
  FixedHashKey probe("12", -42);
  EXPECT_TRUE(table.contains(&probe));
}

TEST_F(HashTable, ClearKeepsBucketsFreeDropsThem) {
  InspectedTable table;
  for (int i = 0; i < 100; i++) table.put(std::to_string(i).c_str(), "v");
  int buckets = table.buckets();
  EXPECT_GE(buckets, 30);
  EXPECT_EQ(table.clear(), 100);
  EXPECT_EQ(table.buckets(), buckets);
  table.put("a", "1");
  EXPECT_EQ(table.free(), 1);
  EXPECT_EQ(table.buckets(), 0);
  EXPECT_EQ(table.free(), 0);
  table.put("b", "2");
  EXPECT_EQ(table.buckets(), 30);
}

TEST_F(HashTable, ViewsPairKeysWithValues) {
  BHashTable table;
  for (int i = 0; i < 50; i++) table.put(("k" + std::to_string(i)).c_str(), ("v" + std::to_string(i)).c_str());
  std::unique_ptr<BVector> keys(table.getKeys());
  std::unique_ptr<BVector> values(table.getValues());
  ASSERT_EQ(keys->size(), 50);
  ASSERT_EQ(values->size(), 50);
  for (int i = 0; i < 50; i++) {
    std::string k = static_cast<BString*>(keys->get(i, 0))->buffer();
    std::string v = static_cast<BString*>(values->get(i, 0))->buffer();
    EXPECT_EQ("v" + k.substr(1), v);
  }
  BHashTable empty;
  std::unique_ptr<BVector> none(empty.getKeys());
  EXPECT_EQ(none->size(), 0);
}

TEST_F(HashTable, NegativeHashesFindTheirBucket) {
  BHashTable table;
  table.put("\xff\xfe", "high bytes");
  EXPECT_STREQ(table.get("\xff\xfe"), "high bytes");
}
