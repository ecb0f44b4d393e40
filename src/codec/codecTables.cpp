#include "codecTables.h"

#include "BBase64Encoder.h"
#include "BSimpleEncoder.h"

const char kBase64Chars[66] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
unsigned char kBase64Mapping[256];
const char kEncodingChars[17] = "0123456789ABCDEF";
unsigned char kCharMapping[256];

namespace {

bool base64MappingReady = false;
bool charMappingReady = false;

// Maps the n characters of chars to their positions and every other byte
// to 255, once.
void fillMapping(unsigned char* mapping, const char* chars, int n, bool& ready) {
  if (ready) return;
  for (int b = 0; b < 256; b++) mapping[b] = 255;
  for (int value = 0; value < n; value++) {
    mapping[static_cast<unsigned char>(chars[value])] = static_cast<unsigned char>(value);
  }
  ready = true;
}

}  // namespace

void initBase64Codes() { fillMapping(kBase64Mapping, kBase64Chars, 64, base64MappingReady); }

void initCharMapping() { fillMapping(kCharMapping, kEncodingChars, 16, charMappingReady); }

int countEncodingChars(const char* text, int n, const unsigned char* mapping, unsigned char max) {
  return static_cast<int>(countEncodingCharsLong(text, n, mapping, max));
}

long countEncodingCharsLong(const char* text, long n, const unsigned char* mapping, unsigned char max) {
  if (text == nullptr || mapping == nullptr || n < 1) return 0;
  long count = 0;
  for (long i = 0; i < n; i++) {
    if (mapping[static_cast<unsigned char>(text[i])] <= max) count++;
  }
  return count;
}
