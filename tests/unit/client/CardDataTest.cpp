#include <gtest/gtest.h>

#include <string>

#include "BHashTable.h"
#include "cardData.h"
#include "clientTestSupport.h"
#include "transactionExchange.h"
#include "txn.h"

TEST(MaskPan, KeepsSixAndFourOfThirteenToTwentyCharactersWithoutX) {
  struct {
    const char* pan;
    const char* masked;
  } cases[] = {
      {"4111111111111111", "411111XXXXXX1111"},
      {"4111111111111", "411111XXX1111"},
      {"41111111111111111112", "411111XXXXXXXXXX1112"},
      {"411111111111", "411111111111"},
      {"411111111111111111112", "411111111111111111112"},
      {"4111X11111111111", "4111X11111111111"},
      {"4111x11111111111", "4111x1XXXXXX1111"},
      {"4111 1111 1111 1111", "4111 1XXXXXXXXX1111"},
  };
  for (auto& c : cases) {
    std::string pan = c.pan;
    maskPan(&pan[0]);
    EXPECT_EQ(pan, c.masked);
  }
  EXPECT_EQ(maskPan(nullptr), 0);
}

TEST(ClearPCISensitiveData, MasksTheCardNumberInPlaceAndOverwritesTheRest) {
  Handle t;
  put(t, "CardData", "4111111111111111");
  put(t, "CVC2", "123");
  put(t, "LONG", std::string(50, '7').c_str());
  put(t, "EMPTY", "");
  char* pan = get(t, "CardData");
  for (const char* key : {"CardData", "CVC2", "LONG", "EMPTY", "ABSENT"}) {
    clearPCISensitiveData(t, key);
  }
  EXPECT_EQ(get(t, "CardData"), pan);
  EXPECT_STREQ(pan, "411111XXXXXX1111");
  EXPECT_STREQ(get(t, "CVC2"), "***");
  EXPECT_EQ(std::string(get(t, "LONG")), std::string(40, '*'));
  EXPECT_TRUE(t->bundle->contains("EMPTY") && get(t, "EMPTY") == nullptr);
  EXPECT_FALSE(t->bundle->contains("ABSENT"));
}
