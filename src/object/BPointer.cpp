#include "BPointer.h"

BPointer::BPointer(void* p) : m_value(p) {}

BPointer::~BPointer() {}

void* BPointer::setPointer(void* p) { return m_value = p; }

void* BPointer::getPointer() { return m_value; }

int64_t BPointer::hashCode() { return static_cast<int64_t>(reinterpret_cast<intptr_t>(m_value)); }

bool BPointer::equals(BObject* other) {
  if (other == this) return true;
  if (other == nullptr || !other->instanceOf(classType())) return false;
  return static_cast<BPointer*>(other)->m_value == m_value;
}

const char* BPointer::classType() { return "BObject:BPointer"; }
