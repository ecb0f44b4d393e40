#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "clientTestSupport.h"

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

// A list's separators and numbering are seen end to end by the transaction
// cases; a second list on the same handle is not, as zelvan-txn takes one.
TEST(ClientBundle, ShorterSecondListLowersTheCountAndLeavesOldFields) {
  Handle t;
  setServers(t, "a b c");
  setServers(t, "x;y");
  EXPECT_STREQ(get(t, "SERVERCOUNT"), "2");
  EXPECT_STREQ(get(t, "SERVER0"), "x");
  EXPECT_STREQ(get(t, "SERVER1"), "y");
  EXPECT_STREQ(get(t, "SERVER2"), "c");
}
