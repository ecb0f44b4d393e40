#include <gtest/gtest.h>

#include "clientTestSupport.h"
#include "txn.h"

// A list's separators and numbering are seen end to end by the transaction
// cases; a second list on the same handle is not, as zelvan-txn takes one.
TEST(ServerList, ShorterSecondListLowersTheCountAndLeavesOldFields) {
  Handle t;
  setServers(t, "a b c");
  setServers(t, "x;y");
  EXPECT_STREQ(get(t, "SERVERCOUNT"), "2");
  EXPECT_STREQ(get(t, "SERVER0"), "x");
  EXPECT_STREQ(get(t, "SERVER1"), "y");
  EXPECT_STREQ(get(t, "SERVER2"), "c");
}
