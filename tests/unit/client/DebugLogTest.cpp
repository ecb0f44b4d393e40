#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <regex>
#include <string>
#include <utility>

#include "BObject.h"
#include "clientTestSupport.h"
#include "debugLog.h"
#include "testText.h"
#include "txn.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using Lines = std::vector<std::string>;

namespace {

const std::regex kLine(R"((\d{4})-\d{2}-\d{2} \d{2}:\d{2}:\d{2}_\d{3}\t\[(\d{8})\]\t([^\r\n]*)\r\n)");

int thisYear() {
  time_t now = time(nullptr);
  return localtime(&now)->tm_year + 1900;
}

class DebugLog : public testing::Test {
 protected:
  void SetUp() override {
    tranId = 1234;
    gVerbose = 1;
  }
  void TearDown() override {
    isDebugOn = 0;
    isDebugToStdOut = 0;
    gVerbose = 1;
  }
  TempDir dir_;
  std::string path_ = dir_.file("debug.log");
};

}  // namespace

// Only DEBUG exactly "on" (1) logs; each line is time-stamped, numbered and
// ended by CR LF.
TEST_F(DebugLog, TransactionLinesHaveTheFixedFormat) {
  FILE* file = fopen(path_.c_str(), "a+");
  txn t = {nullptr, file, 1, 0}, off = {nullptr, file, 0, 0}, two = {nullptr, file, 2, 0};
  logDebugMessage(&off, "nothing");
  logDebugMessage(&t, "ClientID Set.");
  logDebugMessage(&two, "nothing either");
  logDebugMessage(&t, "\tindented");
  fclose(file);

  std::string log = readFile(path_);
  std::smatch m;
  ASSERT_TRUE(std::regex_search(log, m, kLine, std::regex_constants::match_continuous)) << log;
  EXPECT_EQ(m[2], "00001234");
  EXPECT_EQ(m[3], "ClientID Set.");
  EXPECT_NEAR(std::stoi(m[1]), thisYear(), 1) << "a new year may begin during the test";
  std::string rest = m.suffix();
  ASSERT_TRUE(std::regex_match(rest, m, kLine)) << rest;
  EXPECT_EQ(m[3], "\tindented");
}

// Standard output takes the lines of a transaction without an open file,
// of any length, and the transaction-less lines when they go there, unless
// gVerbose is cleared. (The transaction-less log file is seen by the
// response reader's test.)
TEST_F(DebugLog, StandardOutputLinesFollowGVerbose) {
  txn toStdout = {nullptr, nullptr, 1, 1}, closed = {nullptr, nullptr, 1, 0};
  tranId = 7;
  std::string longText(5000, 'x');
  snprintf(theDebugFileName, sizeof theDebugFileName, "%s", path_.c_str());
  CaptureStdout();
  logDebugMessage("while debug is off");
  isDebugOn = 1;
  isDebugToStdOut = 1;
  logDebugMessage("without a transaction");
  logDebugMessage(&toStdout, "to stdout");
  logDebugPrintf(&closed, "\t\t\tTrying Server [%s]", longText.c_str());
  std::string out = GetCapturedStdout();
  EXPECT_EQ(logTexts(out).front(), "without a transaction");
  EXPECT_NE(out.find("\t[00000007]\tto stdout\r\n"), std::string::npos) << out;
  EXPECT_NE(out.find("\t\t\tTrying Server [" + longText + "]\r\n"), std::string::npos);
  EXPECT_NE(access(path_.c_str(), F_OK), 0) << "nothing written to the file";

  gVerbose = 0;
  CaptureStdout();
  logDebugMessage(&toStdout, "silenced");
  EXPECT_EQ(GetCapturedStdout(), "");
}

// Through the C API: the file a handle's LOGFILE names.
TEST_F(DebugLog, LogFileOpensOnlyAfterDebugOnAndTakesEverySetterAndTheCleanUp) {
  txn* t = newBundle();
  put(t, "LOGFILE", path_.c_str());
  put(t, "debug", "on");
  EXPECT_NE(access(path_.c_str(), F_OK), 0);
  CaptureStdout();
  setPort(t, "8443");
  EXPECT_EQ(logTexts(GetCapturedStdout()), (Lines{"Server Port Set...", "\t Using Port [8443]."}));

  CaptureStdout();
  put(t, "LogFile", path_.c_str());
  put_ClientID(t, "1");
  put_CertificatePath(t, "/c");
  put_CertificatePassword(t, "p");
  free(get(t, "THEWORKS"));
  cleanup(t);
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(logFileTexts(path_), (Lines{
      "----------------------------------", "Writing to Logfile.",
      "Setting default Log Location to [" + path_ + "]", "Default Log Location is [" + path_ + "]",
      "isDebugOn=[1]; isDebugToStdOut=[0];", "ClientID Set.", "Certificate Path Set.",
      "Certificate Password Set.", "Cleaning Up...", "\tDestroying Transaction...",
      "\tBundle Destroyed, closing...", "\tdebugLog, closing...", "Cleaning Up Completed."}));
  EXPECT_EQ(std::string(theDebugFileName), path_);
  EXPECT_TRUE(isDebugOn == 1 && isDebugToStdOut == 0);
  isDebugOn = 0;
}

TEST_F(DebugLog, OtherDebugValuesAndStdoutCloseTheFile) {
  Handle t;
  for (auto [name, value] : {std::pair{"DEBUG", "YES"}, {"LOGFILE", "StdOut"}}) {
    put(t, "DEBUG", "ON");
    put(t, "LOGFILE", path_.c_str());
    put(t, name, value);
    EXPECT_EQ(t->debugLog, nullptr) << name;
    put_ClientID(t, "1");
    EXPECT_EQ(logFileTexts(path_).back(), "isDebugOn=[1]; isDebugToStdOut=[0];") << name;
  }
  EXPECT_TRUE(t->debugOn == 1 && t->debugToStdOut == 1);
  put(t, "DEBUG", "OFF");
}

TEST_F(DebugLog, UnopenableFileLogsToStdoutAndTooLongPathsKeepTheDefaultLog) {
  Handle t;
  put(t, "DEBUG", "ON");
  CaptureStdout();
  std::string unopenable = dir_.file("no/such.log");
  put(t, "LOGFILE", unopenable.c_str());
  EXPECT_EQ(logTexts(GetCapturedStdout()),
            (Lines{"Unable to create debugLog file " + unopenable + ". Writing to stdOut instead.", ""}));
  EXPECT_EQ(t->debugToStdOut, 1);

  put(t, "LOGFILE", path_.c_str());
  std::string longPath = dir_.file(std::string(200, 'a'));
  put(t, "LOGFILE", longPath.c_str());
  EXPECT_EQ(logFileTexts(longPath).back(),
            "Default Log Location unchanged: the path is longer than 127 characters.");
  EXPECT_EQ(std::string(theDebugFileName), path_);
  EXPECT_NE(access(longPath.substr(0, 127).c_str(), F_OK), 0) << "no file at the cut-off path";
  put(t, "DEBUG", "OFF");
}
