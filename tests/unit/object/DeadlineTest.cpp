#include <gtest/gtest.h>

#include "Deadline.h"

namespace {

TEST(Deadline, ClampLeavesAWaitAtItsOwnBoundOrCutsItToTheTimeLeft) {
  Deadline none;
  EXPECT_FALSE(none.isSet());
  EXPECT_FALSE(none.expired());
  EXPECT_EQ(none.clamp(5000), 5000);
  EXPECT_EQ(none.remainingMs(), Deadline::kNoBoundMs);

  // Set, clamp takes the smaller of the wait's bound and the time left.
  Deadline far = Deadline::after(600000);
  EXPECT_FALSE(far.expired());
  EXPECT_EQ(far.clamp(5000), 5000);
  EXPECT_LE(far.clamp(900000), 600000);
  EXPECT_GT(far.clamp(900000), 0);

  for (long long bound : {0LL, -5LL}) {
    Deadline over = Deadline::after(bound);
    EXPECT_TRUE(over.expired()) << bound;
    EXPECT_EQ(over.remainingMs(), 0) << bound;
    EXPECT_EQ(over.clamp(5000), 0) << bound;
  }
  // A bound too long for the clock is cut, not wrapped into the past.
  EXPECT_FALSE(Deadline::after(Deadline::kNoBoundMs).expired());
}

TEST(Deadline, EarlierIsTheOneThatEndsFirstAndIgnoresAnUnsetOne) {
  Deadline soon = Deadline::after(0), late = Deadline::after(600000), none;
  EXPECT_TRUE(Deadline::earlier(soon, late).expired());
  EXPECT_TRUE(Deadline::earlier(late, soon).expired());
  EXPECT_FALSE(Deadline::earlier(none, late).expired());
  EXPECT_TRUE(Deadline::earlier(none, late).isSet());
  EXPECT_TRUE(Deadline::earlier(soon, none).expired());
  EXPECT_FALSE(Deadline::earlier(none, none).isSet());
}

}  // namespace
