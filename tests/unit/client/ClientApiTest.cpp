#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BHashTable.h"
#include "clientTestSupport.h"
#include "txn.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using Lines = std::vector<std::string>;

TEST(ClientBundle, TheWorksInAnyCaseIsTheWholeBundleInFreeableText) {
  Handle t;
  char* empty = get(t, "THEWORKS");
  EXPECT_STREQ(empty, "");
  free(empty);
  put_ClientID(t, "1");
  put_CertificatePassword(t, "secret");
  for (const char* name : {"theworks", "TheWorks"}) {
    char* all = get(t, name);
    ASSERT_NE(all, nullptr);
    std::string text(all);
    free(all);
    EXPECT_TRUE(text == "CLIENTID=1\r\n_CERTIFICATEPASSWORD=secret\r\n" ||
                text == "_CERTIFICATEPASSWORD=secret\r\nCLIENTID=1\r\n") << text;
  }
}

TEST(ClientBundle, NullHandlesAreIgnored) {
  EXPECT_EQ(put(nullptr, "AMOUNT", "1"), 0);
  EXPECT_EQ(get(nullptr, "AMOUNT"), nullptr);
  EXPECT_EQ(get(nullptr, "THEWORKS"), nullptr);
  EXPECT_EQ(setPort(nullptr, "1"), 0);
  EXPECT_EQ(put_ClientID(nullptr, "1"), 0);
  EXPECT_EQ(put_CertificatePath(nullptr, "/x"), 0);
  EXPECT_EQ(put_CertificatePassword(nullptr, "x"), 0);
  EXPECT_EQ(flushBundle(nullptr), nullptr);
  EXPECT_EQ(execute(nullptr), 0);
  setServers(nullptr, "a,b");
  cleanup(nullptr);
}

class ClientDebugLog : public testing::Test {
 protected:
  TempDir dir_;
  std::string path_ = dir_.file("client.log");
};

TEST_F(ClientDebugLog, LogFileOpensOnlyAfterDebugOnAndTakesEverySetterAndTheCleanUp) {
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

TEST_F(ClientDebugLog, OtherDebugValuesAndStdoutCloseTheFile) {
  Handle t;
  for (const char* off : {"DEBUG=YES", "LOGFILE=StdOut"}) {
    put(t, "DEBUG", "ON");
    put(t, "LOGFILE", path_.c_str());
    std::string name(off, strchr(off, '='));
    put(t, name.c_str(), strchr(off, '=') + 1);
    EXPECT_EQ(t->debugLog, nullptr) << off;
    put_ClientID(t, "1");
    EXPECT_EQ(logFileTexts(path_).back(), "isDebugOn=[1]; isDebugToStdOut=[0];") << off;
  }
  EXPECT_TRUE(t->debugOn == 1 && t->debugToStdOut == 1);
  put(t, "DEBUG", "OFF");
}

TEST_F(ClientDebugLog, UnopenableFileLogsToStdoutAndTooLongPathsKeepTheDefaultLog) {
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
