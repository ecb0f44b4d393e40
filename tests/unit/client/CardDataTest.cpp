#include <gtest/gtest.h>

#include <string>

#include "BHashTable.h"
#include "cardData.h"
#include "clientTestSupport.h"
#include "preSendChecks.h"
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

TEST(EssentialParameters, ReportTheFirstMissingFieldOnly) {
  struct {
    const char* clientId;
    const char* type;
    const char* error;
    const char* detail;
  } cases[] = {
      {nullptr, nullptr, "CLIENTID NOT FOUND",
       "Please ensure that the Client Id is passed into the bundle."},
      {"1", nullptr, "TRANSACTIONTYPE NOT FOUND",
       "Please ensure that the Transaction Type is passed into the bundle."},
      {"1", "", nullptr, nullptr},
  };
  for (auto& c : cases) {
    Handle t;
    if (c.clientId) put_ClientID(t, c.clientId);
    if (c.type) put(t, "TRANSACTIONTYPE", c.type);
    EXPECT_EQ(essentialParametersExist(t), c.error == nullptr);
    EXPECT_STREQ(get(t, "ERROR"), c.error);
    EXPECT_STREQ(get(t, "ERROR_DETAIL"), c.detail);
    EXPECT_STREQ(get(t, "RESULT"), c.error ? "-1" : nullptr);
  }
}
