#ifndef ZELVAN_BPOINTER_H_
#define ZELVAN_BPOINTER_H_

#include "BObject.h"

// An untyped address boxed as a BObject; the box never owns or touches
// the block it points to. Keys of the allocation tracker.
class BPointer : public BObject {
 public:
  explicit BPointer(void* p);
  ~BPointer() override;

  // Stores p and returns it.
  void* setPointer(void* p);
  void* getPointer();

  // The address as a 64-bit number.
  int64_t hashCode() override;
  // True for another BPointer holding the same address.
  bool equals(BObject* other) override;
  const char* classType() override;

 protected:
  void* m_value;
};

#endif  // ZELVAN_BPOINTER_H_
