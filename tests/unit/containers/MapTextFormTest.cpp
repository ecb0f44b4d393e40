#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "BHashTable.h"
#include "BInteger.h"
#include "BLinkMap.h"
#include "BString.h"

namespace {

std::string str(BString* s) {
  std::string out = s->buffer() ? s->buffer() : "";
  delete s;
  return out;
}

}  // namespace

TEST(MapTextForm, EmptyMapGivesAnEmptyText) {
  BHashTable table;
  EXPECT_EQ(str(table.toString()), "");
  EXPECT_EQ(str(table.toString("_")), "");
}

TEST(MapTextForm, UnderscoreFieldsStayOut) {
  BHashTable bundle;
  bundle.put("_CAFILE", "ca.pem");
  bundle.put("_CERTIFICATEPASSWORD", "secret");
  bundle.put("CLIENTID", "10000");
  BString* text = bundle.toString("_");
  std::string wire = text->buffer();
  delete text;
  EXPECT_EQ(wire.size(), std::string("CLIENTID=10000\r\n").size());
  EXPECT_EQ(wire, "CLIENTID=10000\r\n");
  bundle.put("TRANSACTIONTYPE", "PURCHASE");
  wire = str(bundle.toString("_"));
  EXPECT_NE(wire.find("CLIENTID=10000\r\n"), std::string::npos);
  EXPECT_NE(wire.find("TRANSACTIONTYPE=PURCHASE\r\n"), std::string::npos);
  EXPECT_EQ(wire.find('_'), std::string::npos);
  EXPECT_NE(str(bundle.toString()).find("_CAFILE=ca.pem\r\n"), std::string::npos);
}

TEST(MapTextForm, LastApplicableFilterWins) {
  BLinkMap map;
  map.put("A1", "x");
  map.put("B1", "y");
  const char* ab[] = {"A", "B"};
  EXPECT_EQ(str(map.toString(2, ab)), "A1=x\r\n");
  const char* emptyLast[] = {"A", ""};
  EXPECT_EQ(str(map.toString(2, emptyLast)), "");
  const char* emptyFirst[] = {"", "Z"};
  EXPECT_EQ(str(map.toString(2, emptyFirst)), "B1=y\r\nA1=x\r\n");
  BString a("A"), b("B");
  BString* strings[] = {&a, &b};
  EXPECT_EQ(str(map.toString(2, strings)), "A1=x\r\n");
}

TEST(MapTextForm, OtherObjectsAndNullsAreWrittenAsText) {
  BLinkMap map;
  BObject* key = new BString("N");
  map.put(&key, new BInteger(5), 1, 1);
  BObject* nullValue = new BString("Z");
  map.put(&nullValue, nullptr, 1, 0);
  map.put("E", "");
  EXPECT_EQ(str(map.toString()), "E=\r\nZ=<null>\r\nN=class of type 'BObject:BInteger'\r\n");
}

TEST(MapTextForm, AddAllTakesEveryKindOfLineBreak) {
  BHashTable table;
  EXPECT_EQ(table.addAll("A=1\r\nB=2\nC=3\rEND\r\n\r\n"), 3);
  EXPECT_STREQ(table.get("A"), "1");
  EXPECT_STREQ(table.get("B"), "2");
  EXPECT_STREQ(table.get("C"), "3");
}

TEST(MapTextForm, AddAllSkipsLinesThatDoNotSplitInTwo) {
  BHashTable table;
  EXPECT_EQ(table.addAll("URL=a=b\r\n"), 0);
  EXPECT_EQ(table.addAll("K=\r\n"), 0);
  EXPECT_EQ(table.addAll("=V\r\n<null>=W\r\nEND\r\n"), 0);
  EXPECT_EQ(table.addAll("K==\r\n"), 1);
  EXPECT_TRUE(table.contains("K"));
  EXPECT_EQ(table.get("K"), nullptr);
  EXPECT_EQ(str(table.toString()), "K=<null>\r\n");
  EXPECT_EQ(table.addAll(nullptr), 1);
  EXPECT_EQ(table.addAll(""), 1);
  EXPECT_EQ(table.addAll(" A = 1 \r\n"), 2);
  EXPECT_STREQ(table.get(" A "), " 1 ");
}

TEST(MapTextForm, AddAllReplacesExistingValues) {
  BHashTable bundle;
  bundle.put("RESULT", "-1");
  bundle.put("CLIENTID", "1");
  EXPECT_EQ(bundle.addAll("RESULT=0\r\nTXNREFERENCE=77\r\n\r\nEND\r\n\r\n"), 3);
  EXPECT_STREQ(bundle.get("RESULT"), "0");
  EXPECT_STREQ(bundle.get("TXNREFERENCE"), "77");
}

TEST(MapTextForm, LinkMapKeepsNullKeys) {
  BLinkMap map;
  EXPECT_EQ(map.addAll("=V\r\n"), 1);
  EXPECT_EQ(str(map.toString()), "<null>=V\r\n");
}

TEST(MapTextForm, RoundTripOfPlainFields) {
  BHashTable source;
  for (int i = 0; i < 40; i++) {
    source.put(("FIELD" + std::to_string(i)).c_str(), ("value " + std::to_string(i * 7)).c_str());
  }
  BHashTable copy;
  BString* text = source.toString();
  EXPECT_EQ(copy.addAll(text->buffer()), 40);
  delete text;
  for (int i = 0; i < 40; i++) {
    EXPECT_STREQ(copy.get(("FIELD" + std::to_string(i)).c_str()), ("value " + std::to_string(i * 7)).c_str());
  }
}
