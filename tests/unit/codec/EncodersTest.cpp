#include <gtest/gtest.h>

#include <string>

#include "BBase64Encoder.h"
#include "BSimpleEncoder.h"
#include "codecTestSupport.h"

namespace {

std::string decode64(const std::string& in) { return take(kBase64Encoder.decode(in.data(), in.size())); }

}  // namespace

// The decoder keeps a quarter of the alphabet characters it reads (plus 1
// or 2 for a partial group) and skips everything else.
TEST(Base64Encoder, DecodesTheFirstCountBytesSkippingOthers) {
  EXPECT_EQ(takeText(kBase64Encoder.encode(reinterpret_cast<const unsigned char*>("\xFF\xFE\xFD\xFC"), 4)),
            "//79/A==");
  struct { std::string in, out; } cases[] = {
      {"TWFu", "M"}, {"TWE=", "Ma"}, {"TQ==", "M"}, {"TW\nFu", "M"},
      {"    TWFu", std::string(1, '\0')}, {"=\n ", ""}};
  for (auto& c : cases) EXPECT_EQ(decode64(c.in), c.out) << c.in;
  testing::internal::CaptureStdout();
  EXPECT_EQ(decode64("T"), "");
  EXPECT_EQ(decode64("TWFuT"), "M");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "BASE 64 Decoding Error: trailing character!?\r\n"
            "BASE 64 Decoding Error: trailing character!?\r\n");
}

TEST(SimpleEncoder, EveryBaseRoundTripsEveryByte) {
  const unsigned char sample[] = {0x00, 0xAB, 0xFF};
  EXPECT_EQ(takeText(kHexEncoder.encode(sample, 3)), "00ABFF");
  EXPECT_EQ(takeText(kDecimalEncoder.encode(sample, 3)), "000171255");
  EXPECT_EQ(kHexEncoder.encode(sample, 0), nullptr);
  std::string all;
  for (int b = 0; b < 256; b++) all += static_cast<char>(b);
  for (int base = 2; base <= 16; base++) {
    BSimpleEncoder encoder(base);
    std::string text = takeText(encoder.encode(reinterpret_cast<const unsigned char*>(all.data()), 256));
    EXPECT_EQ(text.size(), 256u * encoder.digitsPerByte()) << base;
    EXPECT_EQ(take(encoder.decode(text.data(), text.size())), all) << base;
  }
  for (int base : {0, 1, 17}) {
    BSimpleEncoder invalid(base);
    EXPECT_EQ(invalid.base() + invalid.digitsPerByte(), -1);
    EXPECT_EQ(invalid.encode(sample, 3), nullptr);
    EXPECT_EQ(invalid.decode("0011", 4), nullptr);
  }
}

TEST(SimpleEncoder, DecodingSkipsNonDigitsAndReportsLeftOvers) {
  EXPECT_EQ(take(kDecimalEncoder.decode("999", 3)), "\xE7");
  EXPECT_EQ(take(kDecimalEncoder.decode("0 6-5:A", 7)), "A");
  EXPECT_EQ(kHexEncoder.decode("abcdef", 6), nullptr);
  testing::internal::CaptureStdout();
  EXPECT_EQ(take(kHexEncoder.decode("0aFF", 4)), "\x0F");
  EXPECT_EQ(take(kDecimalEncoder.decode("1", 1)), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Byte Decoding Error: Message to be decoded is 4 characters long... not a multiple of 2 "
            "as expected for a simple encoding of base 16.\r\n"
            "Byte Decoding Error: Message to be decoded is 1 characters long... not a multiple of 3 "
            "as expected for a simple encoding of base 10.\r\n");
}
