#ifndef ZELVAN_BSIMPLEENCODER_H_
#define ZELVAN_BSIMPLEENCODER_H_

#include "BByteArray.h"
#include "BObject.h"
#include "BString.h"

// Digits of the base-N encoders, base 16 at most. Upper case only.
extern const char kEncodingChars[17];

// Base-N decode table: "0"-"9" give 0-9, "A"-"F" give 10-15, every other
// byte 255; lower-case "a"-"f" are not digits. Zeroed until
// initCharMapping() (every BSimpleEncoder constructor calls it) fills it.
extern unsigned char kCharMapping[256];

// Fills kCharMapping, once per process; later calls do nothing.
void initCharMapping();

// Counts the bytes of text that are digits under mapping (see
// BBase64Encoder.h, which declares it too).
int countEncodingChars(const char* text, int n, const unsigned char* mapping, unsigned char max);

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

// The library's hex (base 16) and decimal (base 10) encoders, built in
// this order when the library is loaded and destroyed when it is
// unloaded; not ready during the static construction of other files.
extern BSimpleEncoder kHexEncoder;
extern BSimpleEncoder kDecimalEncoder;

#endif  // ZELVAN_BSIMPLEENCODER_H_
