#ifndef ZELVAN_BOBJECT_H_
#define ZELVAN_BOBJECT_H_

#include <cstdint>

class BString;

// Process-wide switch for the diagnostics that the library writes to
// standard output (the client's log lines among them). On by default.
extern unsigned char gVerbose;

// Root of every class of the object library. Gives each class a textual
// class-type path ("BObject:BMap:BHashTable"), a prefix-based type test,
// default hashing and equality, a per-object verbose flag and a default
// text form. Not thread-safe.
class BObject {
 public:
  // Verbose flag 0.
  BObject();
  // Copies the verbose flag.
  BObject(const BObject& other);
  BObject& operator=(const BObject& other) = default;
  virtual ~BObject();

  // Returns 0; subclasses hash by value.
  virtual int64_t hashCode();

  // Returns false for every argument, the object itself included.
  virtual bool equals(BObject* other);

  // Stores flag and returns the previous one.
  virtual unsigned char setVerbose(unsigned char flag);

  // Returns a new string "class of type '<classType()>'".
  // The caller deletes the result.
  virtual BString* toString();

  // Returns the colon-separated path of class names from the root down to
  // this class. The text is constant and owned by the class.
  virtual const char* classType();

  // True when this object's class path begins with path (a plain prefix
  // test, so "BObject:BStr" matches a BString). A null or empty path
  // matches every object.
  bool instanceOf(const char* path);

  // False for a null other; otherwise instanceOf(other->classType()).
  bool instanceOf(BObject* other);

 protected:
  unsigned char m_verbose;
};

// toString() hands out a BString for the caller to delete, so whoever
// includes this header can also delete it. Included after BObject is
// complete, since BString derives from it.
#include "BString.h"

#endif  // ZELVAN_BOBJECT_H_
