#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BString.h"
#include "BTokeniser.h"

namespace {

std::vector<std::string> tokens(const char* text, std::vector<const char*> delims) {
  BTokeniser t(text, static_cast<int>(delims.size()), delims.data());
  std::vector<std::string> out;
  for (int i = 0; i < t.size(); i++) out.push_back(t.get(i) ? t.get(i) : "");
  return out;
}

using V = std::vector<std::string>;

}  // namespace

TEST(Tokeniser, EarliestDelimiterWinsThenListOrder) {
  struct { const char* text; std::vector<const char*> delims; V tokens; } cases[] = {
      {"a;;b", {";", ";;"}, {"a", "", "b"}},
      {"a;;b", {";;", ";"}, {"a", "b"}},
      {",a,", {","}, {"", "a"}},
      {"a,b,,c", {","}, {"a", "b", "", "c"}},
      {"key=value&x=1", {"&", "="}, {"key", "value", "x", "1"}},
      {"alpha, beta;gamma", {",", ";", " "}, {"alpha", "", "beta", "gamma"}},
      {"abc", {""}, {"abc"}},
      {"", {","}, {}},
      {"A=1\r\nB=2\nC=3\rEND\r\n\r\n", {"\r\n", "\r", "\n"}, {"A=1", "B=2", "C=3", "END", ""}},
  };
  for (auto& c : cases) EXPECT_EQ(tokens(c.text, c.delims), c.tokens) << c.text;
}

TEST(Tokeniser, WithoutDelimitersTheWholeTextIsOneToken) {
  BTokeniser t;
  EXPECT_EQ(t.parse("abc", 0, nullptr), 1);
  EXPECT_STREQ(t.get(0), "abc");
  EXPECT_EQ(t.parse("", 0, nullptr), 1);
  EXPECT_EQ(t.get(0), nullptr);
  EXPECT_EQ(t.parse(nullptr, 0, nullptr), 0);
  const char* comma[] = {","};
  EXPECT_EQ(t.parse(nullptr, 1, comma), 0);
}

TEST(Tokeniser, EmptyAndMissingTokensReadAsNull) {
  const char* comma[] = {","};
  BTokeniser t("a,,b", 1, comma);
  ASSERT_EQ(t.size(), 3);
  EXPECT_EQ(t.get(1), nullptr);
  EXPECT_EQ(t.getString(1, 0), nullptr);
  EXPECT_EQ(t.get(-1), nullptr);
  EXPECT_EQ(t.get(t.size()), nullptr);
  EXPECT_EQ(t.getString(3, 1), nullptr);
}

TEST(Tokeniser, ParseReplacesEarlierTokens) {
  const char* comma[] = {","};
  BTokeniser t("a,b,c", 1, comma);
  EXPECT_EQ(t.parse("x", 1, comma), 1);
  EXPECT_STREQ(t.get(0), "x");
  EXPECT_EQ(t.free(), 1);
  EXPECT_EQ(t.size(), 0);
}

TEST(Tokeniser, StringFormUsesTheDelimitersTexts) {
  BString text("a-b+c");
  BString minus("-"), plus("+");
  BString* delims[] = {&minus, &plus};
  BTokeniser t(&text, 2, delims);
  ASSERT_EQ(t.size(), 3);
  EXPECT_STREQ(t.get(2), "c");
  BTokeniser whole(&text, 0, nullptr);
  EXPECT_EQ(whole.size(), 1);
}
