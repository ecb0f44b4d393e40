#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BString.h"
#include "BTokeniser.h"

namespace {

using V = std::vector<std::string>;

V tokensOf(BTokeniser& t) {
  V out;
  for (int i = 0; i < t.size(); i++) out.push_back(t.get(i) ? t.get(i) : "<null>");
  return out;
}

V tokens(const char* text, std::vector<const char*> delims) {
  BTokeniser t(text, static_cast<int>(delims.size()), delims.data());
  return tokensOf(t);
}

}  // namespace

// Empty tokens between delimiters read as null; a trailing delimiter adds
// no token.
TEST(Tokeniser, EarliestDelimiterWinsThenListOrder) {
  struct { const char* text; std::vector<const char*> delims; V tokens; } cases[] = {
      {"a;;b", {";", ";;"}, {"a", "<null>", "b"}},
      {"a;;b", {";;", ";"}, {"a", "b"}},
      {",a,", {","}, {"<null>", "a"}},
      {"key=value&x=1", {"&", "="}, {"key", "value", "x", "1"}},
      {"alpha, beta;gamma", {",", ";", " "}, {"alpha", "<null>", "beta", "gamma"}},
      {"abc", {""}, {"abc"}},
      {"abc", {}, {"abc"}},
      {"", {}, {"<null>"}},
      {"", {","}, {}},
      {nullptr, {}, {}},
      {nullptr, {","}, {}},
      {"A=1\r\nB=2\nC=3\rEND\r\n\r\n", {"\r\n", "\r", "\n"}, {"A=1", "B=2", "C=3", "END", "<null>"}},
  };
  for (auto& c : cases) EXPECT_EQ(tokens(c.text, c.delims), c.tokens) << (c.text ? c.text : "null");
}

TEST(Tokeniser, OutOfRangeReadsAreNullAndParseReplacesEarlierTokens) {
  const char* comma[] = {","};
  BTokeniser t("a,,b", 1, comma);
  EXPECT_EQ(t.getString(1, 0), nullptr);
  EXPECT_EQ(t.get(-1), nullptr);
  EXPECT_EQ(t.get(t.size()), nullptr);
  EXPECT_EQ(t.getString(3, 1), nullptr);
  EXPECT_EQ(t.parse("x", 1, comma), 1);
  EXPECT_EQ(tokensOf(t), V{"x"});
  EXPECT_EQ(t.free(), 1);
  EXPECT_EQ(t.size(), 0);

  BString text("a-b+c"), minus("-"), plus("+");
  BString* delims[] = {&minus, &plus};
  BTokeniser fromStrings(&text, 2, delims);
  EXPECT_EQ(tokensOf(fromStrings), (V{"a", "b", "c"}));
}
