#ifndef ZELVAN_TESTS_COUNTED_H_
#define ZELVAN_TESTS_COUNTED_H_

#include "BString.h"

// A string that counts the live instances of its kind, so that tests can
// see exactly which objects a container deleted and which it left alone.
class Counted : public BString {
 public:
  explicit Counted(const char* s) : BString(s) { live++; }
  ~Counted() override { live--; }
  static int live;
};

#endif  // ZELVAN_TESTS_COUNTED_H_
