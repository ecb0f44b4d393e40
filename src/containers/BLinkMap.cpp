#include "BLinkMap.h"

#include "BLinkMapEntry.h"
#include "BString.h"
#include "BVector.h"
#include "memTrack.h"

BLinkMap::BLinkMap() : m_count(0), m_head(nullptr) {}

BLinkMap::~BLinkMap() { BLinkMap::free(); }

BLinkMapEntry* BLinkMap::getEntry(BObject* key) {
  if (key == nullptr) return nullptr;
  BLinkMapEntry probe(key, nullptr, 0, 0);
  for (BLinkMapEntry* e = m_head; e != nullptr; e = e->getNext()) {
    if (e->equals(&probe)) return e;
  }
  return nullptr;
}

BObject* BLinkMap::get(BObject* key) {
  BLinkMapEntry* entry = getEntry(key);
  return entry ? entry->value() : nullptr;
}

char* BLinkMap::get(char* key) {
  BString probe(key);
  BObject* value = get(&probe);
  if (value == nullptr || !value->instanceOf(BString::staticType())) return nullptr;
  return static_cast<BString*>(value)->buffer();
}

unsigned char BLinkMap::contains(BObject* key) { return getEntry(key) != nullptr; }

unsigned char BLinkMap::contains(char* key) {
  BString probe(key);
  return contains(&probe);
}

void BLinkMap::put(BObject** key, BObject* value, unsigned char ownKey, unsigned char ownValue) {
  BLinkMapEntry* entry = getEntry(*key);
  if (entry != nullptr) {
    entry->setValue(value, ownValue);
    if (ownKey) {
      trackDelete(*key);
      *key = nullptr;
    }
    return;
  }
  entry = trackNew(new BLinkMapEntry(*key, value, ownKey, ownValue), "new map entry");
  entry->setNext(m_head);
  m_head = entry;
  m_count++;
}

void BLinkMap::put(char* key, char* value) {
  BObject* keyObject = trackNew(new BString(key), "key string wrapper");
  BObject* valueObject = trackNew(new BString(value), "value string wrapper");
  put(&keyObject, valueObject, 1, 1);
}

void BLinkMap::remove(BObject* key) {
  if (key == nullptr) return;
  BLinkMapEntry probe(key, nullptr, 0, 0);
  BLinkMapEntry* previous = nullptr;
  for (BLinkMapEntry* e = m_head; e != nullptr; previous = e, e = e->getNext()) {
    if (!probe.equals(e)) continue;
    if (previous == nullptr) {
      m_head = e->getNext();
    } else {
      previous->setNext(e->getNext());
    }
    trackDelete(e);
    m_count--;
    return;
  }
}

void BLinkMap::remove(char* key) {
  BString probe(key);
  remove(&probe);
}

BVector* BLinkMap::collect(bool keys, const char* label) {
  BVector* out = trackNew(new BVector(), label);
  for (BLinkMapEntry* e = m_head; e != nullptr; e = e->getNext()) {
    out->add(keys ? e->key() : e->value(), 0);
  }
  return out;
}

BVector* BLinkMap::getKeys() { return collect(true, "link map key vector"); }

BVector* BLinkMap::getValues() { return collect(false, "link map value vector"); }

int BLinkMap::clear() { return free(); }

int BLinkMap::free() {
  int old = m_count;
  BLinkMapEntry* e = m_head;
  while (e != nullptr) {
    BLinkMapEntry* next = e->getNext();
    trackDelete(e);
    e = next;
  }
  m_count = 0;
  m_head = nullptr;
  return old;
}

int BLinkMap::size() { return m_count; }

const char* BLinkMap::classType() { return "BObject:BMap:BLinkMap"; }

int BLinkMap::addEntry(BLinkMapEntry* entry) {
  if (entry != nullptr) {
    entry->setNext(m_head);
    m_head = entry;
    m_count++;
  }
  return m_count;
}

int BLinkMap::dumpEntries(BLinkMapEntry** out) {
  int i = 0;
  BLinkMapEntry* e = m_head;
  while (e != nullptr) {
    out[i++] = e;
    e = e->setNext(nullptr);
  }
  int old = m_count;
  m_head = nullptr;
  m_count = 0;
  return old;
}
