#ifndef ZELVAN_BLINKMAPENTRY_H_
#define ZELVAN_BLINKMAPENTRY_H_

#include "BObject.h"

// One key/value pair of a BLinkMap chain, with the two ownership flags
// that say whether the entry deletes its key and its value. With its
// verbose flag set, the destructor traces what it deletes on standard
// output.
class BLinkMapEntry : public BObject {
 public:
  // Stores the four; no next entry, verbose flag clear.
  BLinkMapEntry(BObject* key, BObject* value, unsigned char ownKey, unsigned char ownValue);
  // Deletes the key and the value it owns.
  ~BLinkMapEntry() override;

  BObject* key();
  BObject* value();
  BLinkMapEntry* getNext();
  // Stores next and returns the previous next entry.
  BLinkMapEntry* setNext(BLinkMapEntry* next);

  // Replaces the value; an owned old value is deleted first, without
  // comparing it to the new one (so never pass the value already held).
  void setValue(BObject* value, unsigned char ownValue);

  // The key's hash code, 0 for a null key.
  int64_t hashCode() override;
  // True when other is an entry whose key this entry's key equals. An
  // entry with a null key equals nothing.
  bool equals(BObject* other) override;
  const char* classType() override;

 protected:
  BObject* m_key;
  BObject* m_value;
  BLinkMapEntry* m_next;
  unsigned char m_ownKey;
  unsigned char m_ownValue;

 private:
  BLinkMapEntry(const BLinkMapEntry&) = delete;
  BLinkMapEntry& operator=(const BLinkMapEntry&) = delete;
};

#endif  // ZELVAN_BLINKMAPENTRY_H_
