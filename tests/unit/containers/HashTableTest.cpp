#include <gtest/gtest.h>

#include <string>

#include "BHashTable.h"
#include "BInteger.h"
#include "BString.h"
#include "Counted.h"
#include "testText.h"

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

// Empty, null and non-string values, and null keys, which are never stored.
TEST_F(HashTable, ValuesThatAreNotTextAndNullKeys) {
  BHashTable table;
  table.put("K", nullptr);
  table.put("E", "");
  EXPECT_TRUE(table.contains("K"));
  EXPECT_TRUE(table.get("K") == nullptr && table.get("E") == nullptr && table.get("missing") == nullptr);

  BObject* key = new BString("X");
  table.put(&key, new BInteger(5), 1, 1);
  EXPECT_EQ(table.get("X"), nullptr);
  BString probe("X");
  EXPECT_TRUE(table.get(&probe)->instanceOf("BObject:BInteger"));
  EXPECT_EQ(takeText(table.getString("X")), "class of type 'BObject:BInteger'");
  EXPECT_EQ(table.getString("none"), nullptr);

  BObject* none = nullptr;
  Counted value("v");
  table.put(&none, &value, 1, 1);
  EXPECT_EQ(table.size(), 3);
  EXPECT_EQ(table.get(static_cast<BObject*>(nullptr)), nullptr);
  EXPECT_FALSE(table.contains(static_cast<BObject*>(nullptr)));
  table.remove(static_cast<BObject*>(nullptr));
  EXPECT_EQ(table.size(), 3);
}

// A chain longer than ten grows the table by thirty buckets; keys of one
// hash code never spread, so each further put grows it again. Every key
// stays findable through the rehashing.
TEST_F(HashTable, GrowsOnceAChainPassesTenAndKeepsEveryKey) {
  InspectedTable spread, same;
  for (int i = 0; i < 12; i++) {
    BObject* key = new FixedHashKey(std::to_string(i).c_str(), 30 * i);
    spread.put(&key, nullptr, 1, 0);
    key = new FixedHashKey(std::to_string(i).c_str(), -42);
    same.put(&key, nullptr, 1, 0);
  }
  EXPECT_EQ(spread.buckets(), 60);
  EXPECT_EQ(same.buckets(), 60);
  BObject* key = new FixedHashKey("12", -42);
  same.put(&key, nullptr, 1, 0);
  EXPECT_EQ(same.buckets(), 90);
  EXPECT_EQ(same.size(), 13);
  for (int i = 0; i < 12; i++) {
    FixedHashKey spreadProbe(std::to_string(i).c_str(), 30 * i), sameProbe(std::to_string(i).c_str(), -42);
    EXPECT_TRUE(spread.contains(&spreadProbe) && same.contains(&sameProbe)) << i;
  }

  EXPECT_EQ(same.clear(), 13);
  EXPECT_EQ(same.buckets(), 90) << "clear keeps the buckets";
  EXPECT_EQ(spread.free(), 12);
  EXPECT_EQ(spread.buckets(), 0);
  spread.put("\xff\xfe", "a negative hash code");
  EXPECT_EQ(spread.buckets(), 30);
  EXPECT_STREQ(spread.get("\xff\xfe"), "a negative hash code");
}
