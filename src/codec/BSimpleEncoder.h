#ifndef ZELVAN_BSIMPLEENCODER_H_
#define ZELVAN_BSIMPLEENCODER_H_

#include "BObject.h"

class BByteArray;
class BString;

// Writes every byte as a fixed number of upper-case digits in a base from
// 2 to 16 (two in base 16, three in base 10, eight in base 2) and reads
// such text back. The library's instances are kHexEncoder and
// kDecimalEncoder. Decoding problems are printed on standard output,
// never returned.
class BSimpleEncoder : public BObject {
 public:
  // An encoder for the given base. A base outside 2 to 16 gives an
  // invalid encoder (base -1, no digits) whose encode and decode return
  // null. Fills the shared digit table on first use.
  explicit BSimpleEncoder(int base);
  BSimpleEncoder(const BSimpleEncoder&) = delete;
  BSimpleEncoder& operator=(const BSimpleEncoder&) = delete;
  ~BSimpleEncoder() override;

  // The base, or -1 for an invalid encoder.
  int base();
  // Digits written per byte: the smallest d with base^d >= 256; 0 for an
  // invalid encoder.
  int digitsPerByte();

  // Returns a new string of digitsPerByte() zero-padded digits per byte,
  // most significant first ("0A" in base 16, "010" in base 10). Null, not
  // an empty string, for an invalid encoder, a null data or n < 1, and
  // when the text would exceed the longest possible string (2^31 - 1
  // bytes). data must hold n bytes. The caller deletes the result.
  BString* encode(const unsigned char* data, long n);

  // Reads the digits of this base among the first n bytes of text,
  // skipping every other byte (lower-case letters included), and returns
  // one byte per digitsPerByte() digits; each byte's value wraps at 8
  // bits (base 10 "999" gives 231). Digits left over are ignored after
  // printing "Byte Decoding Error: Message to be decoded is <n>
  // characters long... not a multiple of <d> as expected for a simple
  // encoding of base <base>.". Returns null when there is no digit at
  // all, and for an invalid encoder. The returned array does not own its
  // block: the caller deletes the array and delete[]s its data(0). text
  // must hold n bytes.
  BByteArray* decode(const char* text, long n);

  const char* classType() override;

 protected:
  int m_base;
  int m_digits;
  // m_digits + 1 powers of the base, element i = base^i; owned.
  int* m_powers;
};

#endif  // ZELVAN_BSIMPLEENCODER_H_
