#include <gtest/gtest.h>

#include <string>

#include "BURLCodec.h"
#include "codecTestSupport.h"

namespace {

std::string run(BString* (BURLCodec::*op)(BString*), const std::string& in) {
  BURLCodec codec;
  BString* s = makeString(in);
  std::string out = takeText((codec.*op)(s));
  delete s;
  return out;
}
std::string encode(const std::string& in) { return run(&BURLCodec::encode, in); }
std::string decode(const std::string& in) { return run(&BURLCodec::decode, in); }

}  // namespace

TEST(URLCodec, MaskSelectsWhichClassesPassPlain) {
  const std::string plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!$'()*+,-._";
  const std::string unsafe = " \"#%<>[\\]^`{|}~", reserved = "&/:;=?@";
  struct { int32_t flags; std::string passing; } cases[] = {
      {1, plain}, {5, plain + reserved}, {7, plain + reserved + unsafe}, {2, unsafe}};
  for (auto& c : cases) {
    _flags = c.flags;
    for (int b = 0; b < 256; b++) {
      std::string byte(1, static_cast<char>(b));
      char escaped[4];
      snprintf(escaped, sizeof escaped, "%%%02X", b);
      bool passes = c.passing.find(static_cast<char>(b)) != std::string::npos;
      EXPECT_EQ(encode(byte), passes ? byte : escaped) << "flags " << c.flags << " byte " << b;
    }
  }
  _flags = 1;
}

TEST(URLCodec, DecodesEscapesAndPlusesWhateverFollows) {
  struct { std::string in, out; } cases[] = {
      {"a%20b+c", "a b c"}, {"%7e%7E", "~~"}, {"%4G", "\x04"}, {"%4", "\x04"},
      {"%zz", std::string(1, '\0')}, {"ab%", std::string("ab\0", 3)},
      {"%%41", std::string("\0" "1", 2)}, {"", "(null)"}};
  for (auto& c : cases) EXPECT_EQ(decode(c.in), c.out) << c.in;
  EXPECT_EQ(BURLCodec().hex2int(BString("fffffffff1")), 0xFFFFFFF1u);
}
