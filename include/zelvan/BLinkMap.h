#ifndef ZELVAN_BLINKMAP_H_
#define ZELVAN_BLINKMAP_H_

#include "BMap.h"

#include "BLinkMapEntry.h"

// A complete BMap kept as one singly linked chain of entries, newest
// first. Every bucket of a BHashTable is one. All ownership rules live in
// put(), BLinkMapEntry::setValue() and the entry's destructor. A null key
// is never looked up, so each put() with a null key adds an entry.
class BLinkMap : public BMap {
 public:
  // The constant-text forms of get, contains, put and remove.
  using BMap::contains;
  using BMap::get;
  using BMap::put;
  using BMap::remove;

  BLinkMap();
  // free(): every entry is deleted with what it owns.
  ~BLinkMap() override;

  // The first entry whose key equals key, or null (also for a null key).
  BLinkMapEntry* getEntry(BObject* key);

  BObject* get(BObject* key) override;
  // The text of the BString stored under key; null when the key is absent
  // or its value is not a BString.
  char* get(char* key) override;
  unsigned char contains(BObject* key) override;
  unsigned char contains(char* key) override;
  void put(BObject** key, BObject* value, unsigned char ownKey, unsigned char ownValue) override;
  void put(char* key, char* value) override;
  // Removes the first entry whose key key->equals(); nothing for null.
  void remove(BObject* key) override;
  void remove(char* key) override;
  // Keys (values) in chain order, newest first. The caller deletes the
  // vector, never its elements.
  BVector* getKeys() override;
  BVector* getValues() override;
  int clear() override;
  int free() override;
  int size() override;
  const char* classType() override;

  // Links entry in front of the chain without comparing keys (used when a
  // hash table redistributes entries that are unique already). Returns the
  // new count.
  int addEntry(BLinkMapEntry* entry);

  // Moves every entry into out (room for size() pointers), in chain
  // order, unlinked; the map is left empty and the entries belong to
  // whoever holds the array. Returns how many were moved.
  int dumpEntries(BLinkMapEntry** out);

 protected:
  // The hash table walks its buckets' chains directly when it lists them.
  friend class BHashTable;

  int m_count;
  BLinkMapEntry* m_head;

 private:
  BVector* collect(bool keys, const char* label);
};

#endif  // ZELVAN_BLINKMAP_H_
