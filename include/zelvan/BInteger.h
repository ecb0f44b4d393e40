#ifndef ZELVAN_BINTEGER_H_
#define ZELVAN_BINTEGER_H_

#include "BObject.h"

// A signed 32-bit integer boxed as a BObject, so that it can be a key or a
// value in the containers. Hashes and compares by value.
class BInteger : public BObject {
 public:
  explicit BInteger(int v);
  ~BInteger() override;

  // Stores v and returns it.
  int setInteger(int v);
  int getInteger();

  // The value widened with its sign.
  int64_t hashCode() override;
  // True for another BInteger holding the same value.
  bool equals(BObject* other) override;
  const char* classType() override;

 protected:
  int m_value;
};

#endif  // ZELVAN_BINTEGER_H_
