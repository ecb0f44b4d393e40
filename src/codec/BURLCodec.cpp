#include "BURLCodec.h"

#include <climits>
#include <string>

#include "BSimpleEncoder.h"
#include "memTrack.h"

namespace {

// Class of each byte 0x00 to 0x7F: 0 control, 1 plain (letters, digits and
// ! $ ' ( ) * + , - . _), 2 unsafe (space and " # % < > [ \ ] ^ ` { | } ~),
// 4 reserved (& / : ; = ? @).
// clang-format off
const unsigned char kURLCharClasses[128] = {
  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x00
  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x10
  2, 1, 2, 2, 1, 2, 4, 1, 1, 1, 1, 1, 1, 1, 1, 4,  // 0x20  !"#$%&'()*+,-./
  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 4, 4, 2, 4, 2, 4,  // 0x30 0-9 :;<=>?
  4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x40 @A-O
  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 1,  // 0x50 P-Z [\]^_
  2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x60 `a-o
  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 0,  // 0x70 p-z {|}~ DEL
};
// clang-format on

}  // namespace

int32_t _flags = 1;

namespace {

const char* kEncodedLabel = "url encoded string";
const char* kDecodedLabel = "url decoded string";

int hexDigitValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Builds a string of exactly these bytes, NULs included. A string copies
// text with strncpy, which stops at a NUL, and re-copies it whenever its
// array grows; so the array is sized once up front (block size n) and the
// bytes are appended one at a time into it. The result then gets block
// size 0 like every other codec result.
BString* newByteString(const std::string& bytes) {
  int n = static_cast<int>(bytes.size());
  BString* result = new BString(n);
  for (char c : bytes) result->append(c);
  result->setBlockSize(0);
  return result;
}

}  // namespace

BURLCodec::BURLCodec() {}

BURLCodec::~BURLCodec() {}

BString* BURLCodec::encode(BString* s) {
  std::string text;
  int length = s ? s->length() : 0;
  const unsigned char* bytes = s ? reinterpret_cast<const unsigned char*>(s->buffer()) : nullptr;
  for (int i = 0; i < length; i++) {
    unsigned char b = bytes[i];
    // Bytes above 0x7F have no class: they are escaped rather than looked
    // up outside the table or passed raw into what should be ASCII.
    if (b < sizeof kURLCharClasses && (kURLCharClasses[b] & _flags) != 0) {
      text += static_cast<char>(b);
    } else {
      text += '%';
      text += kEncodingChars[b >> 4];
      text += kEncodingChars[b & 0x0F];
    }
  }
  if (text.size() > static_cast<size_t>(INT_MAX)) return nullptr;
  // No NUL can pass plain (control bytes never do), so a plain copy is safe.
  return trackNew(new BString(text.data(), static_cast<int>(text.size())), kEncodedLabel);
}

BString* BURLCodec::decode(BString* s) {
  std::string bytes;
  int length = s ? s->length() : 0;
  const char* text = s ? s->buffer() : nullptr;
  // Wider than the length, so that stepping over an escape at the very end
  // of a maximal string cannot overflow.
  int64_t i = 0;
  while (i < length) {
    // Compatibility: "+" decodes to a space although encode() leaves "+"
    // alone, so "a+b" does not survive a round trip; form data that
    // applications decode come with "+" for spaces.
    if (text[i] == '+') {
      bytes += ' ';
      i += 1;
    } else if (text[i] == '%') {
      // An escape cut short by the end of the text reads the terminating
      // NUL in place of its missing bytes, and nothing beyond it.
      char pair[2] = {i + 1 < length ? text[i + 1] : '\0', i + 2 < length ? text[i + 2] : '\0'};
      bytes += static_cast<char>(hex2int(BString(pair, 2)) & 0xFF);
      i += 3;
    } else {
      bytes += text[i];
      i += 1;
    }
  }
  return trackNew(newByteString(bytes), kDecodedLabel);
}

uint32_t BURLCodec::hex2int(BString s) {
  uint32_t value = 0;
  const char* text = s.buffer();
  for (int i = 0; i < s.length(); i++) {
    int digit = hexDigitValue(static_cast<unsigned char>(text[i]));
    if (digit < 0) break;
    value = (value << 4) + static_cast<uint32_t>(digit);
  }
  return value;
}

const char* BURLCodec::classType() { return "BObject:BURLCodec"; }
