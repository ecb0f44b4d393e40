#ifndef ZELVAN_BBASE64ENCODER_H_
#define ZELVAN_BBASE64ENCODER_H_

#include "BByteArray.h"
#include "BObject.h"
#include "BString.h"

// The Base64 alphabet, then the pad character "=" at index 64.
extern const char kBase64Chars[66];

// Base64 decode table: the value 0 to 63 of each alphabet byte, 255 for
// every other byte (the pad and white space included). Zeroed until
// initBase64Codes() (every BBase64Encoder constructor calls it) fills it.
extern unsigned char kBase64Mapping[256];

// Fills kBase64Mapping, once per process; later calls do nothing.
void initBase64Codes();

// Returns how many of the first n bytes of text have a mapping value (the
// byte taken as unsigned) of at most max: the number of digits of an
// encoding among them. 0 for a null text or mapping or for n < 1.
// mapping must hold 256 entries (kBase64Mapping, kCharMapping).
int countEncodingChars(const char* text, int n, const unsigned char* mapping, unsigned char max);

// Base64 (the standard alphabet with "=" padding, no line breaks) between
// bytes and text. Holds no state; the library's instance is
// kBase64Encoder. Decoding problems are printed on standard output, never
// returned.
class BBase64Encoder : public BObject {
 public:
  // Fills the shared decode table on first use.
  BBase64Encoder();
  ~BBase64Encoder() override;

  // Returns a new string of ((n + 2) / 3) * 4 characters encoding the n
  // bytes at data; empty for a null data or n <= 0. Returns null only
  // when the text would exceed the longest possible string (2^31 - 1
  // bytes). data must hold n bytes. The caller deletes the result.
  BString* encode(const unsigned char* data, long n);

  // Decodes the first n bytes of text. Its size is a quarter of the
  // number of alphabet characters among them, plus 1 when that number
  // leaves 2 over and plus 2 when it leaves 3; when it leaves 1 the line
  // "BASE 64 Decoding Error: trailing character!?" is printed. The bytes
  // come from decoding the first that-number bytes of text, skipping
  // non-alphabet bytes, so white space within the text shortens what is
  // decoded. Returns a new array that does not own its block: the caller
  // deletes the array and delete[]s its data(0). text must hold n bytes.
  BByteArray* decode(const char* text, long n);

  const char* classType() override;
};

// The library's Base64 encoder, built when the library is loaded and
// destroyed when it is unloaded; not ready during the static construction
// of other files.
extern BBase64Encoder kBase64Encoder;

#endif  // ZELVAN_BBASE64ENCODER_H_
