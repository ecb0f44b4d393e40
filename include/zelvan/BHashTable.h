#ifndef ZELVAN_BHASHTABLE_H_
#define ZELVAN_BHASHTABLE_H_

#include "BLinkMap.h"
#include "BMap.h"
#include "BString.h"

// The map the rest of the library uses (a transaction's bundle, the SSL
// context pool, the allocation tracker). An array of buckets, each a
// BLinkMap; the table picks the bucket from the key's hash code and hands
// the operation to it. Starts with 30 buckets at the first put() and adds
// 30 more (rehashing every entry) whenever some chain holds more than 10
// entries before a put(). Never shrinks except when freed. A null key is
// never stored. Not thread-safe.
class BHashTable : public BMap {
 public:
  // The constant-text forms of get, contains, put and remove.
  using BMap::contains;
  using BMap::get;
  using BMap::put;
  using BMap::remove;

  BHashTable();
  // free(): every entry is deleted with what it owns.
  ~BHashTable() override;

  BObject* get(BObject* key) override;
  // The text of the BString stored under key, or null when the key is
  // absent, its value is not a BString, or the value never held text (an
  // empty value reads like a missing one). The pointer belongs to the
  // table: valid until the entry's value is replaced or removed.
  char* get(char* key) override;
  unsigned char contains(BObject* key) override;
  unsigned char contains(char* key) override;
  // Requires *key to be non-null; a null key is refused and the caller
  // keeps both objects.
  void put(BObject** key, BObject* value, unsigned char ownKey, unsigned char ownValue) override;
  void put(char* key, char* value) override;
  void remove(BObject* key) override;
  void remove(char* key) override;
  // Keys (values) bucket by bucket; the caller deletes the vector, never
  // its elements.
  BVector* getKeys() override;
  BVector* getValues() override;
  // Deletes every entry, keeping the buckets. Returns how many there were.
  int clear() override;
  // Deletes every entry and bucket. Returns how many entries there were.
  int free() override;
  // Counted over the buckets on every call.
  int size() override;
  const char* classType() override;

  // The BString stored under key (still the table's), or for a value of
  // another class a new toString() of it that the caller deletes; null
  // when absent. Callers tell the two apart by what they stored.
  BString* getString(BObject* key);
  BString* getString(const char* key);

  // Makes the first buckets, or grows the table when a chain is too long.
  void checkState();
  // Redistributes every entry over n new buckets; n <= 0 frees the table.
  void createBuckets(int n);

 protected:
  BLinkMap** m_buckets;
  int m_initialBuckets;
  int m_maxChain;
  int m_bucketCount;
  int m_growBy;

 private:
  BLinkMap* bucketFor(int64_t hash);
  BVector* collect(bool keys, const char* label);
};

#endif  // ZELVAN_BHASHTABLE_H_
