#ifndef ZELVAN_BBOOLEAN_H_
#define ZELVAN_BBOOLEAN_H_

#include "BObject.h"

// A byte-wide boolean boxed as a BObject (0 false, anything else true).
// Equality compares the stored bytes, so boxes of 1 and 2 differ although
// both are true.
class BBoolean : public BObject {
 public:
  explicit BBoolean(unsigned char v);
  // Copies other's value; other must not be null.
  explicit BBoolean(BBoolean* other);
  ~BBoolean() override;

  // Stores v and returns it.
  unsigned char setBoolean(unsigned char v);
  unsigned char getBoolean();

  // 26 for true, 52 for false.
  int64_t hashCode() override;
  bool equals(BObject* other) override;
  const char* classType() override;

 protected:
  unsigned char m_value;
};

#endif  // ZELVAN_BBOOLEAN_H_
