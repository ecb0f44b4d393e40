#ifndef ZELVAN_BNETOBJECT_H_
#define ZELVAN_BNETOBJECT_H_

#include "BObject.h"

// Base of the classes that talk to the network (sockets, the SSL context).
// Holds one numeric error code, set by the operation that failed, and turns
// it into a fixed message on request. Network objects never throw: they
// return false, null or -1 and leave the code here. Not thread-safe.
//
// Codes 1 to 15 belong to sockets, 100 to 104 to the SSL context.
// Compatibility: some codes are never set by the library; their texts stay,
// and the gap between 15 and 100 too, because applications store and
// compare the numbers.
class BNetObject : public BObject {
 public:
  // No error (code 0).
  BNetObject();
  // Clears the code before the base is destroyed.
  ~BNetObject() override;

  // Stores code. Every failure path of the network classes sets its code
  // through this slot, so a subclass can observe or veto them.
  virtual void setError(int code);

  // Clears the code through setError(0).
  void resetErrorCode();

  // Returns the message of the current code, then clears the code, so a
  // second call returns "No error message for error number". Unknown
  // codes (0 and negatives included) give that same default text. The
  // text is a constant: the caller must not free it.
  const char* getError();

  // Prints mask (not the stored code) between two lines of tildes on
  // standard output.
  void dumpInfo(int mask);

 protected:
  int errorCode;
};

#endif  // ZELVAN_BNETOBJECT_H_
