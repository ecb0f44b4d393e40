#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "BBase64Encoder.h"
#include "BSimpleEncoder.h"
#include "BURLCodec.h"
#include "codecTestSupport.h"

namespace {

// Runs the bytes through every decoder from a heap block of exactly their
// size, so that the sanitizers see any access past the end.
void decodeEverywhere(const std::string& bytes) {
  std::unique_ptr<char[]> exact(new char[bytes.size()]);
  bytes.copy(exact.get(), bytes.size());
  BString* s = makeString(bytes);
  delete BURLCodec().decode(s);
  delete s;
  for (BSimpleEncoder* simple : {&kHexEncoder, &kDecimalEncoder}) {
    if (BByteArray* a = simple->decode(exact.get(), bytes.size())) take(a);
  }
  take(kBase64Encoder.decode(exact.get(), bytes.size()));
}

}  // namespace

TEST(DecoderBounds, EveryByteAndRandomTextStayInBounds) {
  testing::internal::CaptureStdout();
  for (int b = 0; b < 256; b++) {
    std::string one(1, static_cast<char>(b));
    for (const std::string& text : {one, "%" + one, "A" + one + "%"}) decodeEverywhere(text);
  }
  std::mt19937 random(20240611);
  for (int round = 0; round < 3000; round++) {
    std::string text(random() % 70, '\0');
    const char* alphabet = "%+0123456789ABCDEFaf=/ \n";
    for (char& c : text) c = static_cast<char>(round % 2 ? alphabet[random() % 24] : random() % 256);
    decodeEverywhere(text);
  }
  testing::internal::GetCapturedStdout();
}
