#include "BInteger.h"

BInteger::BInteger(int v) : m_value(v) {}

BInteger::~BInteger() {}

int BInteger::setInteger(int v) { return m_value = v; }

int BInteger::getInteger() { return m_value; }

int64_t BInteger::hashCode() { return m_value; }

bool BInteger::equals(BObject* other) {
  if (other == this) return true;
  if (other == nullptr || !other->instanceOf(classType())) return false;
  return static_cast<BInteger*>(other)->m_value == m_value;
}

const char* BInteger::classType() { return "BObject:BInteger"; }
