#include <gtest/gtest.h>

#include <string>

#include "BHashTable.h"
#include "BString.h"
#include "BVector.h"
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

// What a merge left in the bundle must equal, order included: the reply
// parsed into a table of its own and its allowed fields copied over in the
// table's order. The order decides THEWORKS and the next request's text.
std::string mergedThroughTable(const char* before, const char* reply) {
  BHashTable bundle;
  bundle.addAll(before);
  BHashTable table;
  table.addAll(reply);
  BVector* keys = table.getKeys();
  BVector* values = table.getValues();
  for (int i = 0; i < keys->size(); i++) {
    BString* key = static_cast<BString*>(keys->get(i, 0));
    if (isLocalSetting(key->buffer())) continue;
    BObject* value = values->get(i, 0);
    BObject* keyCopy = new BString(key->buffer());
    bundle.put(&keyCopy, value != nullptr ? new BString(static_cast<BString*>(value)->buffer()) : nullptr, 1, 1);
  }
  delete keys;
  delete values;
  BString* text = bundle.toString();
  std::string out = text->buffer() != nullptr ? text->buffer() : "";
  delete text;
  return out;
}

TEST(ReplyMerge, LeavesTheBundleInTheOrderOfAReplyTable) {
  std::string large;  // enough fields for a reply table to grow
  for (int i = 0; i < 400; i++) large += "F" + std::to_string(i) + "=" + std::to_string(i % 7) + "\n";
  std::string sameBucket;  // "Aa" and "BB" share a hash, so one bucket
  for (const char* a : {"Aa", "BB"}) {
    for (const char* b : {"Aa", "BB"}) {
      for (const char* c : {"Aa", "BB"}) sameBucket += std::string(a) + b + c + "=x\r\n";
    }
  }
  const char* before = "AMOUNT=1.00\r\nCARDNUMBER=4111\r\nRESULT=-1\r\nERROR=old\r\n";
  const char* replies[] = {
      "RESULT=0\r\nAUTHCODE=12\r\nTXNREFERENCE=9\r\nERROR=\r\nRESULT=1\r\nAUTHCODE=<null>\r\nEND\r\n\r\n",
      "A=1\rB=2\nC=3\r\n\r\n=4\n==\nD=5=\nE=6==\nF=\nG=7=8\n_H=1\n_H=2\nSERVER3=x\nSERVERPORT=1\nI=9",
      "Aa=1\nBB=2\nAa=3\nAaAa=4\nBBBB=5\nAaBB=6\n",
      sameBucket.c_str(),
      large.c_str(),
      "",
  };
  for (const char* reply : replies) {
    Handle t;
    t->bundle->addAll(before);
    mergeReply(t, reply);
    BString* text = t->bundle->toString();
    EXPECT_EQ(std::string(text->buffer()), mergedThroughTable(before, reply)) << reply;
    delete text;
  }
}
