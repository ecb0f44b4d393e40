#include <gtest/gtest.h>

#include "BHashTable.h"
#include "clientTestSupport.h"
#include "replyMerge.h"
#include "requestChecks.h"
#include "txn.h"

TEST(ServerPort, OnlyWholeDecimalNumbersFrom1To65535AreRead) {
  int port = 7;
  for (const char* good : {"1", "443", "65535", "08080"}) {
    EXPECT_TRUE(parsePort(good, &port)) << good;
  }
  EXPECT_EQ(port, 8080);
  for (const char* bad : {"", "0", "65536", "99999", "4294967297", "36561abc", "-1", "+80", " 80",
                          "80 ", "0x50", "8.0"}) {
    EXPECT_FALSE(parsePort(bad, &port)) << bad;
  }
  EXPECT_FALSE(parsePort(nullptr, &port));
  EXPECT_EQ(port, 8080) << "a refused text leaves the port alone";
}

TEST(ReplyMerge, TakesGatewayFieldsAndIgnoresLocalAndConnectionSettings) {
  Handle t;
  put(t, "_CAFILE", "/etc/ca.pem");
  put(t, "SERVERPORT", "443");
  put(t, "SERVER0", "gw1");
  put(t, "SERVERCOUNT", "1");
  put(t, "RESULT", "-1");
  mergeReply(t,
             "_CAFILE=/tmp/evil.pem\r\nSERVERPORT=1\r\nSERVER0=evil\r\nSERVER12=evil\r\n"
             "SERVERCOUNT=9\r\n_NEW=1\r\nRESULT=0\r\nSERVER=gw1\r\nSERVERX=1\r\nK=a=b\r\n"
             "AUTHCODE==\r\n\r\nEND\r\n\r\n");
  EXPECT_STREQ(get(t, "_CAFILE"), "/etc/ca.pem");
  EXPECT_STREQ(get(t, "SERVERPORT"), "443");
  EXPECT_STREQ(get(t, "SERVER0"), "gw1");
  EXPECT_STREQ(get(t, "SERVERCOUNT"), "1");
  EXPECT_EQ(get(t, "SERVER12"), nullptr);
  EXPECT_EQ(get(t, "_NEW"), nullptr);
  EXPECT_STREQ(get(t, "RESULT"), "0");
  EXPECT_STREQ(get(t, "SERVER"), "gw1");
  EXPECT_STREQ(get(t, "SERVERX"), "1");
  EXPECT_EQ(get(t, "K"), nullptr) << "a malformed line is skipped as before";
  EXPECT_TRUE(t->bundle->contains("AUTHCODE")) << "a null value merges as before";
  EXPECT_EQ(t->bundle->size(), 8);
  mergeReply(t, nullptr);
  EXPECT_EQ(t->bundle->size(), 8);
}
