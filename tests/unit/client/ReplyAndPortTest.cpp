#include <gtest/gtest.h>

#include <string>

#include "BHashTable.h"
#include "BString.h"
#include "BVector.h"
#include "clientTestSupport.h"
#include "replyMerge.h"
#include "txn.h"

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
