#include "BLinkMapEntry.h"

#include <cstdio>

#include "BString.h"
#include "memTrack.h"

namespace {

BString* describe(BObject* o, const char* label) {
  if (o != nullptr) return o->toString();
  return trackNew(new BString("<null>"), label);
}

const char* printable(BString* s) { return s->buffer() ? s->buffer() : ""; }

}  // namespace

BLinkMapEntry::BLinkMapEntry(BObject* key, BObject* value, unsigned char ownKey,
                             unsigned char ownValue)
    : m_key(key), m_value(value), m_next(nullptr), m_ownKey(ownKey), m_ownValue(ownValue) {}

BLinkMapEntry::~BLinkMapEntry() {
  if (m_verbose) {
    BString* key = describe(m_key, "link map deallocation key info");
    BString* value = describe(m_value, "link map deallocation value info");
    printf("** deleting map entry '%s=%s'...\n", printable(key), printable(value));
    trackDelete(key);
    trackDelete(value);
  }
  if (m_ownKey && m_key != nullptr) {
    // Compatibility: the texts made for the key and value lines are not
    // released, so a verbose deletion counts one tracker create and no
    // destroy for each, the counts kNumCreates/kNumDestroys are documented
    // to show. Only entries with their verbose flag set (a debugging aid)
    // leak them; the misspelt "fo type" belongs to the line.
    if (m_verbose) {
      printf("   freeing key object: %s fo type %s\n", printable(m_key->toString()),
             m_key->classType());
    }
    trackDelete(m_key);
  } else if (m_verbose) {
    puts("   not freeing key object");
  }
  if (m_ownValue && m_value != nullptr) {
    if (m_verbose) printf("   freeing value object: %s\n", printable(m_value->toString()));
    trackDelete(m_value);
  } else if (m_verbose) {
    puts("   not freeing value object");
  }
}

BObject* BLinkMapEntry::key() { return m_key; }

BObject* BLinkMapEntry::value() { return m_value; }

BLinkMapEntry* BLinkMapEntry::getNext() { return m_next; }

BLinkMapEntry* BLinkMapEntry::setNext(BLinkMapEntry* next) {
  BLinkMapEntry* previous = m_next;
  m_next = next;
  return previous;
}

void BLinkMapEntry::setValue(BObject* value, unsigned char ownValue) {
  if (m_ownValue && m_value != nullptr) trackDelete(m_value);
  m_value = value;
  m_ownValue = ownValue;
}

int64_t BLinkMapEntry::hashCode() { return m_key ? m_key->hashCode() : 0; }

bool BLinkMapEntry::equals(BObject* other) {
  if (other == nullptr || !other->instanceOf(this)) return false;
  if (m_key == nullptr) return false;
  return m_key->equals(static_cast<BLinkMapEntry*>(other)->m_key);
}

const char* BLinkMapEntry::classType() { return "BObject:BLinkMapEntry"; }
