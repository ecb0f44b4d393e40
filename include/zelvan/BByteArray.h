#ifndef ZELVAN_BBYTEARRAY_H_
#define ZELVAN_BBYTEARRAY_H_

#include <cstdint>

#include "BObject.h"
#include "BString.h"

// A block of bytes of known size, with a flag that says whether the array
// owns the block (and deletes it with delete[]) or only refers to it.
// Converts to and from hex, decimal and Base64 text through the global
// encoders. Not thread-safe.
class BByteArray : public BObject {
 public:
  // Construction modes of the byte constructor.
  enum Mode { kReference = 1, kAdopt = 2, kCopy = 3 };
  // Encoding selectors of the text constructors and parseString.
  enum Encoding { kHex = 1, kDecimal = 2, kBase64 = 3 };

  // Wraps size bytes at data. Mode 1 refers to the caller's block, which
  // must outlive the array; mode 3 copies it into a block of the array's
  // own; any other mode (2 by convention) adopts the caller's block, which
  // must then come from new[]. A null data or size < 1 gives an empty
  // array with no block; the owns flag is still set from the mode.
  BByteArray(unsigned char* data, int64_t size, int mode);

  // parseString(text, length, encoding).
  BByteArray(const char* text, int length, int encoding);
  // parseString over the whole of the NUL-terminated text (none for null).
  BByteArray(const char* text, int encoding);
  // parseString over the string's text (none for null).
  BByteArray(BString* s, int encoding);

  BByteArray(const BByteArray&) = delete;
  BByteArray& operator=(const BByteArray&) = delete;

  // Deletes the block when the array owns one.
  ~BByteArray() override;

  // The number of bytes; 0 when there is no block.
  int64_t size();
  // True when the array will delete its block.
  bool ownsBuffer();

  // Returns the block (null when there is none). When release is set and
  // the array owns the block, ownership passes to the caller, who must
  // then delete[] it; the array keeps referring to it.
  unsigned char* data(unsigned char release);

  // Replaces the contents with the bytes that the first length bytes of
  // text give, read as hex digits: the text is read as hex whatever the
  // encoding selector says (1 hex, 2 decimal and 3 Base64 are all accepted
  // and all read as hex). Non-digits and lower-case letters are skipped.
  // The decoded block is not owned by the array: the caller delete[]s
  // data(0) once done with it. Text with no hex digit at all leaves an
  // empty array that has its owns flag set. A block the array owned
  // before is deleted first.
  void parseString(const char* text, int length, int encoding);

  // Two upper-case hex digits per byte ("0010" for 0x00 0x10). Null for
  // an empty array. The caller deletes the result.
  BString* toHexString();
  // Three decimal digits per byte ("000016" for 0x00 0x10). Null for an
  // empty array. The caller deletes the result.
  BString* toString() override;
  // Base64 text with "=" padding; an empty string for an empty array. The
  // caller deletes the result.
  BString* toBase64String();

  // h = h * 31 + byte over the block, bytes taken as unsigned (unlike
  // BString); wraps at 64 bits. An empty array hashes to 0.
  int64_t hashCode() override;

  // True for the same object, or for a byte array of the same size and
  // bytes; false for null or any other class.
  bool equals(BObject* other) override;

  const char* classType() override;

 protected:
  int64_t m_size;
  unsigned char* m_data;
  unsigned char m_owns;
};

#endif  // ZELVAN_BBYTEARRAY_H_
