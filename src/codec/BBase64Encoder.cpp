#include "BBase64Encoder.h"

#include <climits>
#include <cstdio>
#include <string>

#include "BByteArray.h"
#include "BString.h"
#include "codecTables.h"
#include "memTrack.h"

namespace {

const unsigned char kLastAlphabetValue = 63;
const int kPad = 64;

}  // namespace

BBase64Encoder::BBase64Encoder() { initBase64Codes(); }

BBase64Encoder::~BBase64Encoder() {}

BString* BBase64Encoder::encode(const unsigned char* data, long n) {
  if (data == nullptr || n <= 0) return trackNew(new BString(0), "base64 encoded string");
  if (n > INT_MAX / 4 * 3) return nullptr;
  std::string text;
  text.reserve(static_cast<size_t>((n + 2) / 3 * 4));
  for (long i = 0; i < n; i += 3) {
    long left = n - i;
    unsigned int group = static_cast<unsigned int>(data[i]) << 16;
    if (left > 1) group |= static_cast<unsigned int>(data[i + 1]) << 8;
    if (left > 2) group |= data[i + 2];
    text += kBase64Chars[(group >> 18) & 0x3F];
    text += kBase64Chars[(group >> 12) & 0x3F];
    text += kBase64Chars[left > 1 ? (group >> 6) & 0x3F : kPad];
    text += kBase64Chars[left > 2 ? group & 0x3F : kPad];
  }
  return trackNew(new BString(text.data(), static_cast<int>(text.size())), "base64 encoded string");
}

BByteArray* BBase64Encoder::decode(const char* text, long n) {
  long count = countEncodingCharsLong(text, n, kBase64Mapping, kLastAlphabetValue);
  long size = count / 4;
  switch (count % 4) {
    // Compatibility: a lone trailing character is reported and dropped, and
    // the size rule stands as it is; applications size their buffers by
    // the documented result.
    case 1:
      if (gVerbose) puts("BASE 64 Decoding Error: trailing character!?\r");
      break;
    case 2:
      size += 1;
      break;
    case 3:
      size += 2;
      break;
  }
  if (size < 1) return trackNew(new BByteArray(nullptr, 0, BByteArray::kReference), "decoded byte array");

  // Every alphabet byte among the first count bytes adds six bits, so
  // count * 6 / 8 bytes hold all that can be decoded, and that is never
  // less than size. The block is zeroed: when white space precedes the
  // alphabet bytes fewer than size bytes are decoded, and the rest reads
  // as 0.
  long capacity = count * 6 / 8;
  unsigned char* block = trackNew(new unsigned char[capacity](), "decoded bytes");
  unsigned int bits = 0;
  int held = 0;
  long out = 0;
  for (long i = 0; i < count; i++) {
    unsigned char value = kBase64Mapping[static_cast<unsigned char>(text[i])];
    if (value > kLastAlphabetValue) continue;
    bits = (bits << 6) | value;
    held += 6;
    if (held >= 8) {
      held -= 8;
      block[out++] = static_cast<unsigned char>(bits >> held);
      bits &= (1u << held) - 1;
    }
  }
  return trackNew(new BByteArray(block, size, BByteArray::kReference), "decoded byte array");
}

const char* BBase64Encoder::classType() { return "BObject:BBase64Encoder"; }
