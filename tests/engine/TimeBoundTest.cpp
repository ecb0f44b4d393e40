#include <chrono>

#include "RawListener.h"
#include "engineTestSupport.h"

// Every server accepts the connection and stalls the handshake: nothing
// was sent, so the payment is safe to run again.
TEST_F(EngineTest, TheTimeBoundEndsStalledHandshakesWithNoDecision) {
  // Listening but never accepting: the kernel completes the connection and
  // nothing ever speaks on it.
  RawListener silent("127.0.0.1", true);
  MerchantTxn& t = purchase(silent.port());
  put(t.handle(), "_TIMEOUT", "3000");
  // The port is the same for every server: the list names it twice.
  setServers(t.handle(), "127.0.0.1, 127.0.0.1");
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(t.execute(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_NO_DECISION);
  EXPECT_EQ(t.field("ERROR"), "TRANSACTION TIMED OUT");
  EXPECT_EQ(t.field("ERROR_DETAIL"), "The payment's time bound of 3000 ms ran out during the SSL handshake.");
}
