#ifndef ZELVAN_TESTS_CODECTESTSUPPORT_H_
#define ZELVAN_TESTS_CODECTESTSUPPORT_H_

#include <string>

#include "BByteArray.h"
#include "BString.h"
#include "testText.h"

// A string of exactly these bytes, NULs included: sized up front, since a
// growing BString re-copies its text with strncpy.
inline BString* makeString(const std::string& bytes) {
  BString* s = new BString(static_cast<int>(bytes.size()));
  for (char c : bytes) s->append(c);
  return s;
}

// The bytes of a decoder's result; the array and its unowned block are deleted.
inline std::string take(BByteArray* a) {
  std::string bytes(reinterpret_cast<char*>(a->data(0)), static_cast<size_t>(a->size()));
  delete[] a->data(0);
  delete a;
  return bytes;
}

#endif  // ZELVAN_TESTS_CODECTESTSUPPORT_H_
