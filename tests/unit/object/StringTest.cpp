#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "BString.h"

namespace {

std::string text(BString& s) { return s.buffer() ? std::string(s.buffer(), s.length()) : ""; }

}  // namespace

TEST(String, GrowsByBlockSizeOrToTheExactSize) {
  BString exact(0);
  exact.append("ab");
  EXPECT_EQ(exact.capacity(), 2);
  exact.append("c");
  EXPECT_EQ(exact.capacity(), 3);

  BString blocks(16);
  blocks.append("ab");
  EXPECT_EQ(blocks.capacity(), 16);
  blocks.append("cdefghijklmnop");
  EXPECT_EQ(blocks.capacity(), 16);
  blocks.append("q");
  EXPECT_EQ(blocks.capacity(), 32);

  BString big(16);
  big.append("0123456789abcdef");
  big.append("012345678901234567890123456789");
  EXPECT_EQ(big.capacity(), 46);
}

TEST(String, InsertOutsideTheTextAppends) {
  BString s("ab");
  s.insert(-5, "x");
  s.insert(99, "y");
  EXPECT_EQ(text(s), "abxy");
}

TEST(String, InsertMovesTheTailOnlyWhenTheArrayGrows) {
  BString grows("abcd");
  EXPECT_EQ(grows.insert(1, "XY"), 6);
  EXPECT_EQ(text(grows), "aXYbcd");

  BString roomy(16);
  roomy.set("abcd");
  EXPECT_EQ(roomy.insert(1, "XY"), 6);
  EXPECT_EQ(roomy.capacity(), 16);
  EXPECT_EQ(std::string(roomy.buffer(), 4), "aXYd");
  EXPECT_EQ(roomy.buffer()[4], '\0');
  EXPECT_EQ(roomy.buffer()[6], '\0');
}

TEST(String, InsertStopsCopyingAtAnEmbeddedNul) {
  BString s(0);
  s.append("a\0b", 3);
  EXPECT_EQ(s.length(), 3);
  EXPECT_EQ(s.buffer()[0], 'a');
  EXPECT_EQ(s.buffer()[1], '\0');
  EXPECT_EQ(s.buffer()[2], '\0');
}

TEST(String, EmptyStringsHaveANullBufferUntilTheyHoldText) {
  BString fromEmpty("");
  BString fromZero("abc", 0);
  BString fromNull(static_cast<const char*>(nullptr));
  EXPECT_EQ(fromEmpty.buffer(), nullptr);
  EXPECT_EQ(fromZero.buffer(), nullptr);
  EXPECT_EQ(fromNull.buffer(), nullptr);

  BString cleared("abc");
  cleared.clear();
  ASSERT_NE(cleared.buffer(), nullptr);
  EXPECT_STREQ(cleared.buffer(), "");
  EXPECT_EQ(cleared.capacity(), 3);
  cleared.free();
  EXPECT_EQ(cleared.buffer(), nullptr);
  EXPECT_EQ(cleared.capacity(), 0);
}

TEST(String, TrimKeepsItsHistoricalEdges) {
  struct { const char* in; unsigned char left, right; const char* out; } cases[] = {
      {"   ", 0, 1, " "},     {"   ", 1, 0, ""},        {"   ", 1, 1, ""},
      {"  ab  ", 1, 1, "ab"}, {"  ab  ", 1, 0, "ab  "}, {"  ab  ", 0, 1, "  ab"},
      {"\t x\r\n", 1, 1, "x"}, {"x", 1, 1, "x"},        {"", 1, 1, ""},
  };
  for (auto& c : cases) {
    BString s(c.in);
    s.trim(c.left, c.right);
    EXPECT_EQ(text(s), c.out) << '"' << c.in << "\" " << int(c.left) << int(c.right);
  }
}

TEST(String, SearchesAndTheirAsymmetries) {
  BString aaa("aaa");
  EXPECT_EQ(aaa.lastIndexOf("aa"), 1);
  EXPECT_EQ(aaa.indexOf("aa"), 0);
  EXPECT_EQ(aaa.indexOf(""), 0);
  EXPECT_EQ(aaa.lastIndexOf(""), -1);
  EXPECT_EQ(aaa.lastIndexOf(static_cast<const char*>(nullptr)), -1);
  EXPECT_EQ(aaa.indexOf("b"), -1);

  BString reply("A=1\r\nEND\r\n\r\nX\r\nEND\r\n\r\n");
  EXPECT_EQ(reply.lastIndexOf("\r\nEND\r\n\r\n"), 13);
  BString never(0);
  EXPECT_EQ(never.lastIndexOf("x"), -1);
  EXPECT_EQ(never.indexOf("x"), -1);
}

TEST(String, PrefixSuffixAndEquality) {
  BString s("xabc");
  EXPECT_TRUE(s.startsWith(""));
  EXPECT_TRUE(s.startsWith(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(s.startsWith("xa"));
  EXPECT_FALSE(s.startsWith("xabcd"));
  EXPECT_TRUE(s.endsWith("", 0));
  EXPECT_TRUE(s.endsWith("ABC", 1));
  EXPECT_FALSE(s.endsWith("ABC", 0));
  EXPECT_FALSE(s.endsWith("zxabc", 1));

  EXPECT_TRUE(s.equals("XABC", 1));
  EXPECT_FALSE(s.equals("XABC", 0));
  BString same("xabc"), other("xabd"), empty1(0), empty2("");
  EXPECT_TRUE(s.equals(static_cast<BObject*>(&same)));
  EXPECT_FALSE(s.equals(static_cast<BObject*>(&other)));
  EXPECT_FALSE(s.equals(static_cast<BObject*>(nullptr)));
  EXPECT_TRUE(empty1.equals(static_cast<BObject*>(&empty2)));
  BObject plain;
  EXPECT_FALSE(s.equals(&plain));
  EXPECT_FALSE(s.equals(static_cast<BString*>(nullptr), 0));
}

TEST(String, SubstringClampsToTheText) {
  BString s("abc");
  std::unique_ptr<BString> tail(s.substring(2));
  std::unique_ptr<BString> end(s.substring(3));
  std::unique_ptr<BString> before(s.substring(-1, 2));
  std::unique_ptr<BString> middle(s.substring(1, 99));
  EXPECT_EQ(text(*tail), "c");
  EXPECT_EQ(end->length(), 0);
  EXPECT_EQ(before->length(), 0);
  EXPECT_EQ(text(*middle), "bc");
}

TEST(String, HashUsesSignedBytes) {
  EXPECT_EQ(BString("a").hashCode(), 97);
  EXPECT_EQ(BString("ab").hashCode(), 3105);
  EXPECT_EQ(BString("\xff").hashCode(), -1);
  EXPECT_EQ(BString("").hashCode(), 0);
}

TEST(String, CopiesOwnTheirText) {
  BString source("abc");
  BString copy(source);
  copy.append("d");
  EXPECT_EQ(text(source), "abc");
  EXPECT_EQ(text(copy), "abcd");
  std::unique_ptr<BString> viaToString(source.toString());
  EXPECT_NE(viaToString->buffer(), source.buffer());
  EXPECT_EQ(text(*viaToString), "abc");
}

TEST(String, BlockSizeIgnoresNegativeValues) {
  BString s(8);
  EXPECT_EQ(s.setBlockSize(-1), 8);
  EXPECT_EQ(s.setBlockSize(4), 8);
  EXPECT_EQ(s.setBlockSize(0), 4);
}
