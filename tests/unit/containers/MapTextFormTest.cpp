#include <gtest/gtest.h>

#include <string>

#include "BHashTable.h"
#include "BInteger.h"
#include "BLinkMap.h"
#include "BString.h"
#include "testText.h"

// The request is the bundle's text form without its local "_" fields.
TEST(MapTextForm, UnderscoreFieldsStayOut) {
  BHashTable bundle;
  EXPECT_EQ(takeText(bundle.toString("_")), "(null)");
  bundle.put("_CAFILE", "ca.pem");
  bundle.put("_CERTIFICATEPASSWORD", "secret");
  bundle.put("CLIENTID", "10000");
  EXPECT_EQ(takeText(bundle.toString("_")), "CLIENTID=10000\r\n");
  EXPECT_NE(takeText(bundle.toString()).find("_CAFILE=ca.pem\r\n"), std::string::npos);
}

TEST(MapTextForm, LastApplicableFilterWins) {
  BLinkMap map;
  map.put("A1", "x");
  map.put("B1", "y");
  const char* ab[] = {"A", "B"};
  EXPECT_EQ(takeText(map.toString(2, ab)), "A1=x\r\n");
  const char* emptyLast[] = {"A", ""};
  EXPECT_EQ(takeText(map.toString(2, emptyLast)), "(null)");
  const char* emptyFirst[] = {"", "Z"};
  EXPECT_EQ(takeText(map.toString(2, emptyFirst)), "B1=y\r\nA1=x\r\n");
  BString a("A"), b("B");
  BString* strings[] = {&a, &b};
  EXPECT_EQ(takeText(map.toString(2, strings)), "A1=x\r\n");
}

TEST(MapTextForm, OtherObjectsAndNullsAreWrittenAsText) {
  BLinkMap map;
  BObject* key = new BString("N");
  map.put(&key, new BInteger(5), 1, 1);
  BObject* nullValue = new BString("Z");
  map.put(&nullValue, nullptr, 1, 0);
  map.put("E", "");
  EXPECT_EQ(takeText(map.toString()), "E=\r\nZ=<null>\r\nN=class of type 'BObject:BInteger'\r\n");
  EXPECT_EQ(map.addAll("=V\r\n"), 4);
  EXPECT_NE(takeText(map.toString()).find("<null>=V\r\n"), std::string::npos) << "a linked map keeps null keys";
}

// Every kind of line break ends a field; a line must split at "=" into
// exactly two parts, with a key that is neither empty nor "<null>"; the
// result counts the table's entries.
TEST(MapTextForm, AddAllTakesWellFormedLinesAndReplacesValues) {
  BHashTable table;
  table.put("RESULT", "-1");
  EXPECT_EQ(table.addAll("A=1\r\nB=2\nC=3\rRESULT=0\r\nEND\r\n\r\n"), 4);
  EXPECT_STREQ(table.get("C"), "3");
  EXPECT_STREQ(table.get("RESULT"), "0");
  table.clear();
  EXPECT_EQ(table.addAll("URL=a=b\r\nK=\r\n=V\r\n<null>=W\r\nEND\r\n"), 0);
  EXPECT_EQ(table.addAll("K==\r\n"), 1);
  EXPECT_TRUE(table.contains("K"));
  EXPECT_EQ(takeText(table.toString()), "K=<null>\r\n");
  EXPECT_EQ(table.addAll(nullptr), 1);
  EXPECT_EQ(table.addAll(" A = 1 \r\n"), 2);
  EXPECT_STREQ(table.get(" A "), " 1 ");
}
