#include "BObject.h"

#include <cstdio>
#include <cstring>

#include "BString.h"
#include "memTrack.h"

unsigned char gVerbose = 1;

BObject::BObject() : m_verbose(0) {}

BObject::BObject(const BObject& other) : m_verbose(other.m_verbose) {}

BObject::~BObject() {}

int64_t BObject::hashCode() { return 0; }

bool BObject::equals(BObject*) { return false; }

unsigned char BObject::setVerbose(unsigned char flag) {
  unsigned char previous = m_verbose;
  m_verbose = flag;
  return previous;
}

BString* BObject::toString() {
  // Class paths are a few dozen bytes; 256 leaves ample room.
  char text[256];
  snprintf(text, sizeof text, "class of type '%s'", classType());
  return trackNew(new BString(text), "object to string object");
}

const char* BObject::classType() { return "BObject"; }

// Compatibility: a plain prefix test, with no check for a ":" boundary, so
// "BObject:BStr" matches a BString. Applications test against partial
// paths such as "BObject:BMap", and subclasses extend the paths they get.
bool BObject::instanceOf(const char* path) {
  const char* type = classType();
  // The common test is of a class against its own path constant.
  if (path != nullptr && path == type) return true;
  size_t p = path ? strlen(path) : 0;
  size_t t = type ? strlen(type) : 0;
  if (t < p) return false;
  if (p < 1) return true;
  return strncmp(type, path, p) == 0;
}

bool BObject::instanceOf(BObject* other) {
  if (other == nullptr) return false;
  return instanceOf(other->classType());
}
