// The Base64, hex and decimal decoders on any bytes, BByteArray parsing of
// any text, and each encoder's output decoded again. Round trips: hex and
// decimal give every byte back; Base64 gives back the leading bytes that
// its (deliberately small) size rule keeps.
#include <cstring>
#include <string>

#include "BBase64Encoder.h"
#include "BByteArray.h"
#include "BSimpleEncoder.h"
#include "BString.h"
#include "fuzzSupport.h"

namespace {

// Deletes a decoder's result together with the block it does not own.
void release(BByteArray* array) {
  if (!array) return;
  unsigned char* block = array->data(0);
  bool owned = array->ownsBuffer();
  delete array;
  if (!owned) delete[] block;
}

// Deletes the block of a parsed array, which does not own it.
void releaseBlock(BByteArray& array) {
  if (!array.ownsBuffer()) delete[] array.data(0);
}

std::string bytesOf(BByteArray* a) {
  return a && a->size() > 0 ? std::string(reinterpret_cast<char*>(a->data(0)), a->size()) : std::string();
}

// The number of bytes that decoding the encoding of n bytes keeps.
long base64Kept(long n) {
  long chars = (n * 8 + 5) / 6;  // alphabet characters, padding aside
  long kept = chars / 4;
  if (chars % 4 == 2) kept += 1;
  if (chars % 4 == 3) kept += 2;
  return kept;
}

void roundTrip(BSimpleEncoder& encoder, const std::string& bytes, const uint8_t* data, size_t size) {
  BString* text = encoder.encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  if (bytes.empty()) {
    if (text) fuzzFailure("encoding no bytes gave text", data, size);
    return;
  }
  if (!text || text->length() != static_cast<long>(bytes.size()) * encoder.digitsPerByte())
    fuzzFailure("encoded text of the wrong length", data, size);
  BByteArray* back = encoder.decode(text->buffer(), text->length());
  if (bytesOf(back) != bytes) fuzzFailure("simple encode then decode changed the bytes", data, size);
  release(back);
  delete text;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  long n = static_cast<long>(size);

  release(kBase64Encoder.decode(text, n));
  release(kHexEncoder.decode(text, n));
  release(kDecimalEncoder.decode(text, n));

  std::string cut(text, size);
  cut = cut.substr(0, std::strlen(cut.c_str()));
  for (int encoding = 0; encoding <= 4; ++encoding) {
    BByteArray parsed(text, static_cast<int>(size), encoding);
    BString* hex = parsed.toHexString();
    BString* decimal = parsed.toString();
    BString* base64 = parsed.toBase64String();
    if (!base64 || (parsed.size() > 0) != (hex != nullptr)) fuzzFailure("byte array text forms", data, size);
    if (hex) {
      BByteArray again(hex, BByteArray::kHex);
      if (!again.equals(&parsed) || again.hashCode() != parsed.hashCode())
        fuzzFailure("a byte array does not parse back from its hex form", data, size);
      releaseBlock(again);
    }
    delete hex;
    delete decimal;
    delete base64;
    releaseBlock(parsed);
  }
  BByteArray fromText(cut.c_str(), BByteArray::kBase64);
  releaseBlock(fromText);

  std::string bytes(text, size);
  roundTrip(kHexEncoder, bytes, data, size);
  roundTrip(kDecimalEncoder, bytes, data, size);

  BString* b64 = kBase64Encoder.encode(data, n);
  if (!b64 || b64->length() != ((n + 2) / 3) * 4) fuzzFailure("Base64 text of the wrong length", data, size);
  BByteArray* back = kBase64Encoder.decode(b64->buffer() ? b64->buffer() : "", b64->length());
  std::string decoded = bytesOf(back);
  if (static_cast<long>(decoded.size()) != base64Kept(n) || bytes.compare(0, decoded.size(), decoded) != 0)
    fuzzFailure("Base64 encode then decode is not the expected prefix", data, size);
  release(back);
  delete b64;
  return 0;
}
