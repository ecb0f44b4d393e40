#include "BBoolean.h"

BBoolean::BBoolean(unsigned char v) : m_value(v) {}

BBoolean::BBoolean(BBoolean* other) : m_value(other->m_value) {}

BBoolean::~BBoolean() {}

unsigned char BBoolean::setBoolean(unsigned char v) { return m_value = v; }

unsigned char BBoolean::getBoolean() { return m_value; }

// Compatibility: the two fixed codes decide a boolean key's hash-table
// bucket, and so where a table lists it (toString(), getKeys()); tables
// keyed by booleans list them in the documented order.
int64_t BBoolean::hashCode() { return m_value ? 26 : 52; }

bool BBoolean::equals(BObject* other) {
  if (other == this) return true;
  if (other == nullptr || !other->instanceOf(classType())) return false;
  return static_cast<BBoolean*>(other)->m_value == m_value;
}

const char* BBoolean::classType() { return "BObject:BBoolean"; }
