#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "BObject.h"
#include "debugLog.h"
#include "txn.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

// Today's date as the log writes it; the test accepts either side of a
// midnight that falls during the test.
std::string today() {
  time_t now = time(nullptr);
  struct tm local;
  localtime_r(&now, &local);
  char text[16];
  strftime(text, sizeof text, "%Y-%m-%d", &local);
  return text;
}

const std::regex kLine(R"((\d{4}-\d{2}-\d{2}) \d{2}:\d{2}:\d{2}_\d{3}\t\[(\d{8})\]\t([^\r\n]*)\r\n)");

class DebugLog : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/zvlogXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    path_ = dir_ + "/debug.log";
    tranId = 1234;
    gVerbose = 1;
  }
  void TearDown() override {
    unlink(path_.c_str());
    rmdir(dir_.c_str());
    isDebugOn = 0;
    isDebugToStdOut = 0;
    gVerbose = 1;
  }
  std::string dir_, path_;
};

}  // namespace

TEST_F(DebugLog, TransactionLinesHaveTheFixedFormat) {
  FILE* file = fopen(path_.c_str(), "a+");
  txn t = {nullptr, file, 1, 0};
  logDebugMessage(&t, "ClientID Set.");
  logDebugMessage(&t, "\tindented");
  fclose(file);

  std::string log = readFile(path_);
  std::smatch m;
  ASSERT_TRUE(std::regex_search(log, m, kLine, std::regex_constants::match_continuous)) << log;
  EXPECT_EQ(m[2], "00001234");
  EXPECT_EQ(m[3], "ClientID Set.");
  EXPECT_EQ(m[1].str().substr(0, 4), today().substr(0, 4));
  std::string rest = m.suffix();
  ASSERT_TRUE(std::regex_match(rest, m, kLine)) << rest;
  EXPECT_EQ(m[3], "\tindented");
}

TEST_F(DebugLog, StandardOutputLinesFollowGVerbose) {
  txn t = {nullptr, nullptr, 1, 1};
  tranId = 7;
  CaptureStdout();
  logDebugMessage(&t, "to stdout");
  std::string out = GetCapturedStdout();
  std::smatch m;
  ASSERT_TRUE(std::regex_match(out, m, kLine)) << out;
  EXPECT_EQ(m[2], "00000007");

  gVerbose = 0;
  CaptureStdout();
  logDebugMessage(&t, "silenced");
  EXPECT_EQ(GetCapturedStdout(), "");
}

TEST_F(DebugLog, OnlyDebugOnExactlyOneLogs) {
  FILE* file = fopen(path_.c_str(), "a+");
  txn off = {nullptr, file, 0, 0};
  txn two = {nullptr, file, 2, 0};
  logDebugMessage(&off, "nothing");
  logDebugMessage(&two, "nothing either");
  fclose(file);
  EXPECT_EQ(readFile(path_), "");
}

TEST_F(DebugLog, ClosedStreamFallsBackToStandardOutput) {
  txn t = {nullptr, nullptr, 1, 0};
  CaptureStdout();
  logDebugMessage(&t, "after close");
  EXPECT_NE(GetCapturedStdout().find("\tafter close\r\n"), std::string::npos);
}

TEST_F(DebugLog, TransactionLessLogAppendsToTheCopiedFile) {
  logDebugMessage("before switching on");
  isDebugOn = 1;
  isDebugToStdOut = 0;
  snprintf(theDebugFileName, sizeof theDebugFileName, "%s", path_.c_str());
  logDebugMessage("first");
  logDebugMessage("second");
  std::string log = readFile(path_);
  EXPECT_EQ(log.find("before"), std::string::npos);
  std::smatch m;
  ASSERT_TRUE(std::regex_search(log, m, kLine, std::regex_constants::match_continuous));
  EXPECT_EQ(m[3], "first");
  std::string rest = m.suffix();
  ASSERT_TRUE(std::regex_match(rest, m, kLine));
  EXPECT_EQ(m[3], "second");

  isDebugToStdOut = 1;
  CaptureStdout();
  logDebugMessage("third");
  EXPECT_NE(GetCapturedStdout().find("\tthird\r\n"), std::string::npos);
  EXPECT_EQ(readFile(path_), log);
}

TEST_F(DebugLog, FormattedLinesHaveNoLengthLimit) {
  txn t = {nullptr, nullptr, 1, 1};
  std::string longText(5000, 'x');
  CaptureStdout();
  logDebugPrintf(&t, "\t\t\tTrying Server [%s]", longText.c_str());
  std::string out = GetCapturedStdout();
  EXPECT_NE(out.find("\t\t\tTrying Server [" + longText + "]\r\n"), std::string::npos);
}
