#ifndef ZELVAN_BURLCODEC_H_
#define ZELVAN_BURLCODEC_H_

#include <cstdint>

#include "BObject.h"
#include "BString.h"

// Which classes BURLCodec::encode passes unescaped: a byte passes when its
// class ANDed with this mask is non-zero. Initially 1 (plain only); an
// application may widen it, e.g. to 5 to let reserved bytes pass too.
// Process-wide and unguarded.
extern int32_t _flags;

// Percent-encodes and decodes byte strings as used in URLs and form data.
// Offered to applications; the client itself does not use it. Holds no
// state of its own, so one instance may serve any number of calls.
class BURLCodec : public BObject {
 public:
  BURLCodec();
  ~BURLCodec() override;

  // Returns a new string in which every byte whose class does not pass
  // _flags is written as "%" and two upper-case hex digits. A space
  // becomes "%20", never "+"; "+" is plain and passes as it is. Bytes
  // 0x80 to 0xFF, which have no class, are always escaped. Returns null
  // only when the encoded text would exceed the longest possible string
  // (2^31 - 1 bytes). A null s encodes as the empty string. The caller
  // deletes the result.
  BString* encode(BString* s);

  // Returns a new string holding the decoded bytes: "+" gives a space,
  // "%" and the next two bytes give the byte of their leading hex digits
  // (the two bytes are consumed whatever they are, so "%zz" gives a NUL
  // byte and "%4G" the byte 0x04), every other byte stays. Note that
  // "a+b" therefore does not survive encode then decode. A null s decodes
  // as the empty string. The caller deletes the result.
  BString* decode(BString* s);

  // Returns the value of the leading hex digits of s (either case), 32-bit
  // and wrapping; 0 when s is empty or starts with a non-hex byte. Takes
  // s by value: the copy is the function's own.
  uint32_t hex2int(BString s);

  const char* classType() override;
};

#endif  // ZELVAN_BURLCODEC_H_
