// BURLCodec::decode of any text, and encode followed by decode of what it
// gave: the round trip must give the bytes back, "+" aside (decode reads
// it as a space while encode lets it pass). Strings stop at a NUL byte
// for the library's copies, so the round trip is checked on text without
// one.
#include <cstring>
#include <string>

#include "BString.h"
#include "BURLCodec.h"
#include "fuzzSupport.h"

namespace {

std::string bytesOf(BString* s) { return s->length() > 0 ? std::string(s->buffer(), s->length()) : std::string(); }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput in(data, size);
  uint8_t mask = in.byte();
  std::string text = in.rest();

  BURLCodec codec;
  BString input(text.c_str());
  if (BString* decoded = codec.decode(&input)) {
    if (decoded->length() > input.length()) fuzzFailure("decoding made the text longer", data, size);
    delete decoded;
  } else {
    fuzzFailure("decode returned null", data, size);
  }
  (void)codec.hex2int(BString(text.c_str()));

  // Any class mask must round-trip unless it lets "%" (an unsafe byte)
  // pass plain.
  int32_t saved = _flags;
  _flags = mask & 5;
  bool plusPasses = (_flags & 1) != 0;
  BString raw(text.c_str());
  BString* encoded = codec.encode(&raw);
  BString* back = encoded ? codec.decode(encoded) : nullptr;
  _flags = saved;
  if (!encoded || !back) fuzzFailure("encode or decode returned null", data, size);
  std::string expected = bytesOf(&raw);
  for (char& c : expected) {
    if (c == '+' && plusPasses) c = ' ';
  }
  if (bytesOf(back) != expected) fuzzFailure("encode then decode changed the bytes", data, size);
  delete encoded;
  delete back;
  return 0;
}
