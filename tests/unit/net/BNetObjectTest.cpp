#include <gtest/gtest.h>

#include "BNetObject.h"

// getError() gives the text of the stored code once: reading it clears the
// code, so the next read finds no message.
TEST(BNetObject, EachCodeGivesItsTextOnceAndUnknownCodesHaveNone) {
  const char kNoMessage[] = "No error message for error number";
  struct { int code; const char* text; } cases[] = {
      {1, "ZV_BIND_EXCEPTION: An error occurred while attempting to bind a socket to a local address and port."},
      {15, "ZV_BLOCKING_EXCEPTION: Unable to set socket as Blocking."},
      {100, "ZV_SSL_CTX_BAD_CERT_OR_KEY: The certificate, key or password is corrupt."},
      {104, "ZV_SSL_CTX_SHMGET_FAIL: Error creating shared memory segment."},
      {0, kNoMessage}, {-1, kNoMessage}, {16, kNoMessage}, {99, kNoMessage}, {105, kNoMessage},
  };
  for (auto& c : cases) {
    BNetObject object;
    object.setError(c.code);
    EXPECT_STREQ(object.getError(), c.text) << c.code;
    EXPECT_STREQ(object.getError(), kNoMessage) << c.code;
  }
}
