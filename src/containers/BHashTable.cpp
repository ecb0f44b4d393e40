#include "BHashTable.h"

#include "BLinkMap.h"
#include "BLinkMapEntry.h"
#include "BString.h"
#include "BVector.h"
#include "memTrack.h"

BHashTable::BHashTable()
    : m_buckets(nullptr), m_initialBuckets(30), m_maxChain(10), m_bucketCount(0), m_growBy(30) {}

BHashTable::~BHashTable() { BHashTable::free(); }

// |hash mod n| with a truncating remainder, so a negative hash lands in the
// bucket of its magnitude's remainder.
BLinkMap* BHashTable::bucketFor(int64_t hash) {
  int64_t r = hash % m_bucketCount;
  return m_buckets[r < 0 ? -r : r];
}

BObject* BHashTable::get(BObject* key) {
  if (m_buckets == nullptr || key == nullptr) return nullptr;
  return bucketFor(key->hashCode())->get(key);
}

char* BHashTable::get(char* key) {
  BString probe(key);
  BObject* value = get(&probe);
  if (value == nullptr || !value->instanceOf(BString::staticType())) return nullptr;
  return static_cast<BString*>(value)->buffer();
}

BString* BHashTable::getString(BObject* key) {
  BObject* value = get(key);
  if (value == nullptr) return nullptr;
  if (value->instanceOf(BString::staticType())) return static_cast<BString*>(value);
  return value->toString();
}

BString* BHashTable::getString(const char* key) {
  BString probe(key);
  return getString(&probe);
}

unsigned char BHashTable::contains(BObject* key) {
  if (m_buckets == nullptr || key == nullptr) return false;
  return bucketFor(key->hashCode())->contains(key);
}

unsigned char BHashTable::contains(char* key) {
  BString probe(key);
  return contains(&probe);
}

void BHashTable::put(BObject** key, BObject* value, unsigned char ownKey, unsigned char ownValue) {
  if (*key == nullptr) return;
  checkState();
  bucketFor((*key)->hashCode())->put(key, value, ownKey, ownValue);
}

void BHashTable::put(char* key, char* value) {
  BObject* keyObject = trackNew(new BString(key), "key string wrapper");
  BObject* valueObject = trackNew(new BString(value), "value string wrapper");
  put(&keyObject, valueObject, 1, 1);
}

void BHashTable::remove(BObject* key) {
  if (m_buckets == nullptr || key == nullptr) return;
  bucketFor(key->hashCode())->remove(key);
}

void BHashTable::remove(char* key) {
  BString probe(key);
  remove(&probe);
}

BVector* BHashTable::collect(bool keys, const char* label) {
  BVector* out = trackNew(new BVector(), label);
  for (int i = 0; i < m_bucketCount; i++) {
    BLinkMap* bucket = m_buckets[i];
    if (!trackerListening()) {
      // The buckets are plain BLinkMaps, so walking a chain gives exactly
      // what its view would, without making and freeing a vector per
      // bucket for every text form of a bundle. The views themselves are
      // made only while the tracker records them.
      for (BLinkMapEntry* e = bucket->m_head; e != nullptr; e = e->getNext()) {
        out->add(keys ? e->key() : e->value(), 0);
      }
      continue;
    }
    BVector* part = keys ? bucket->getKeys() : bucket->getValues();
    out->addAll(part);
    trackDelete(part);
  }
  return out;
}

BVector* BHashTable::getKeys() { return collect(true, "hash key vector"); }

BVector* BHashTable::getValues() { return collect(false, "hash value vector"); }

int BHashTable::clear() {
  int removed = 0;
  for (int i = 0; i < m_bucketCount; i++) removed += m_buckets[i]->clear();
  return removed;
}

int BHashTable::free() {
  if (m_buckets == nullptr) return 0;
  int removed = 0;
  for (int i = 0; i < m_bucketCount; i++) {
    removed += m_buckets[i]->size();
    trackDelete(m_buckets[i]);
  }
  trackDeleteArray(m_buckets);
  m_buckets = nullptr;
  m_bucketCount = 0;
  return removed;
}

int BHashTable::size() {
  int total = 0;
  for (int i = 0; i < m_bucketCount; i++) total += m_buckets[i]->m_count;
  return total;
}

const char* BHashTable::classType() { return "BObject:BMap:BHashTable"; }

void BHashTable::checkState() {
  if (m_bucketCount <= 0) {
    createBuckets(m_initialBuckets);
    return;
  }
  int longest = 0;
  for (int i = 0; i < m_bucketCount; i++) {
    if (m_buckets[i]->m_count > longest) longest = m_buckets[i]->m_count;
  }
  if (m_maxChain >= longest) return;
  createBuckets(m_bucketCount + m_growBy);
}

void BHashTable::createBuckets(int n) {
  if (n <= 0) {
    free();
    return;
  }
  if (n == m_bucketCount) return;

  int total = size();
  BLinkMapEntry** moved = nullptr;
  if (total > 0) {
    moved = trackNew(new BLinkMapEntry*[total], "dump of hash entries");
    int position = 0;
    for (int i = 0; i < m_bucketCount; i++) position += m_buckets[i]->dumpEntries(moved + position);
  }
  free();

  m_bucketCount = n;
  m_buckets = trackNew(new BLinkMap*[n], "new bucket array");
  for (int i = 0; i < n; i++) m_buckets[i] = trackNew(new BLinkMap(), "new bucket");
  for (int i = 0; i < total; i++) bucketFor(moved[i]->hashCode())->addEntry(moved[i]);
  trackDeleteArray(moved);
}
