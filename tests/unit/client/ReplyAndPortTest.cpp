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

// Settings a reply must not change are the integration suite's; these are
// the names around them that a reply may or may not bring in.
TEST(ReplyMerge, TakesGatewayFieldsAndIgnoresLocalAndServerListFields) {
  Handle t;
  put(t, "SERVERCOUNT", "1");
  GatewayAnswer answer;
  mergeReply(t,
             "SERVER12=evil\r\n_NEW=1\r\nRESULT=0\r\nSERVER=gw1\r\nSERVERX=1\r\nK=a=b\r\nAUTHCODE==\r\n"
             "\r\nEND\r\n\r\n",
             &answer);
  EXPECT_TRUE(answer.gaveResult && answer.approved && !answer.gaveError && !answer.gaveReference);
  EXPECT_TRUE(get(t, "SERVER12") == nullptr && get(t, "_NEW") == nullptr);
  EXPECT_STREQ(get(t, "RESULT"), "0");
  EXPECT_STREQ(get(t, "SERVER"), "gw1");
  EXPECT_STREQ(get(t, "SERVERX"), "1");
  EXPECT_EQ(get(t, "K"), nullptr) << "a malformed line is skipped";
  EXPECT_TRUE(t->bundle->contains("AUTHCODE")) << "a null value is merged";
  EXPECT_EQ(t->bundle->size(), 5);
  mergeReply(t, "TXNREFERENCE=77\r\nRESULT=5\r\nERROR=DECLINED\r\n\r\nEND\r\n\r\n", &answer);
  EXPECT_TRUE(answer.gaveReference && answer.reference == "77" && answer.gaveError);
  EXPECT_TRUE(answer.gaveResult && !answer.approved) << "the last RESULT given decides";
  mergeReply(t, nullptr);
  EXPECT_EQ(t->bundle->size(), 7);
}
