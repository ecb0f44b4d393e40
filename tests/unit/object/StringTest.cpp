#include <gtest/gtest.h>

#include <string>

#include "BString.h"
#include "testText.h"

// Positions outside the text append. Within it, the tail is moved only
// when the array must grow; in a roomy array the inserted bytes overwrite
// it, which callers that insert mid-string rely on. Copying stops at an
// embedded NUL.
TEST(String, InsertAppendsOutsideTheTextAndOverwritesInARoomyArray) {
  BString s("ab");
  s.insert(-5, "x");
  s.insert(99, "y");
  EXPECT_EQ(textOf(&s), "abxy");

  BString grows("abcd");
  EXPECT_EQ(grows.insert(1, "XY"), 6);
  EXPECT_EQ(textOf(&grows), "aXYbcd");

  BString roomy(16);
  roomy.set("abcd");
  EXPECT_EQ(roomy.insert(1, "XY"), 6);
  EXPECT_EQ(roomy.capacity(), 16);
  EXPECT_EQ(textOf(&roomy), std::string("aXYd\0\0", 6));

  BString nul(0);
  nul.append("a\0b", 3);
  EXPECT_EQ(textOf(&nul), std::string("a\0\0", 3));
}

TEST(String, EmptyStringsHaveANullBufferUntilTheyHoldText) {
  BString fromEmpty(""), fromZero("abc", 0), fromNull(static_cast<const char*>(nullptr));
  EXPECT_TRUE(fromEmpty.buffer() == nullptr && fromZero.buffer() == nullptr && fromNull.buffer() == nullptr);

  BString cleared("abc");
  cleared.clear();
  ASSERT_NE(cleared.buffer(), nullptr);
  EXPECT_STREQ(cleared.buffer(), "");
  EXPECT_EQ(cleared.capacity(), 3);
  cleared.free();
  EXPECT_EQ(cleared.buffer(), nullptr);
  EXPECT_EQ(cleared.capacity(), 0);
}

TEST(String, TrimsEitherSideOrBoth) {
  struct { const char* in; unsigned char left, right; const char* out; } cases[] = {
      {"   ", 0, 1, " "},     {"   ", 1, 0, ""},        {"   ", 1, 1, ""},
      {"  ab  ", 1, 1, "ab"}, {"  ab  ", 1, 0, "ab  "}, {"  ab  ", 0, 1, "  ab"},
      {"\t x\r\n", 1, 1, "x"}, {"x", 1, 1, "x"},        {"", 1, 1, "(null)"},
  };
  for (auto& c : cases) {
    BString s(c.in);
    s.trim(c.left, c.right);
    EXPECT_EQ(textOf(&s), c.out) << '"' << c.in << "\" " << int(c.left) << int(c.right);
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
  EXPECT_TRUE(s.startsWith("") && s.startsWith(static_cast<const char*>(nullptr)) && s.startsWith("xa"));
  EXPECT_FALSE(s.startsWith("xabcd"));
  EXPECT_TRUE(s.endsWith("", 0) && s.endsWith("ABC", 1));
  EXPECT_FALSE(s.endsWith("ABC", 0) || s.endsWith("zxabc", 1));
  EXPECT_TRUE(s.equals("XABC", 1));
  EXPECT_FALSE(s.equals("XABC", 0));

  BString same("xabc"), other("xabd"), empty1(0), empty2("");
  BObject plain;
  EXPECT_TRUE(s.equals(static_cast<BObject*>(&same)));
  EXPECT_TRUE(empty1.equals(static_cast<BObject*>(&empty2)));
  EXPECT_FALSE(s.equals(static_cast<BObject*>(&other)) || s.equals(static_cast<BObject*>(nullptr)) ||
               s.equals(&plain) || s.equals(static_cast<BString*>(nullptr), 0));
}

TEST(String, SubstringClampsToTheText) {
  BString s("abc");
  EXPECT_EQ(takeText(s.substring(2)), "c");
  EXPECT_EQ(takeText(s.substring(3)), "(null)");
  EXPECT_EQ(takeText(s.substring(-1, 2)), "(null)");
  EXPECT_EQ(takeText(s.substring(1, 99)), "bc");
}

TEST(String, CopiesOwnTheirText) {
  BString source("abc");
  BString copy(source);
  copy.append("d");
  EXPECT_EQ(textOf(&source), "abc");
  EXPECT_EQ(textOf(&copy), "abcd");
  BString* viaToString = source.toString();
  EXPECT_NE(viaToString->buffer(), source.buffer());
  EXPECT_EQ(takeText(viaToString), "abc");
}
