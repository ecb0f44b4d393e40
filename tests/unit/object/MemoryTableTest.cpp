#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "BMemoryTable.h"
#include "BString.h"

namespace {

const char kNotActive[] = "Memory Table report - table not active\n";
const char kNothingRecorded[] =
    "Memory Table report - 0 pointers remain to be de-allocated...\n"
    "0 allocations and 0 de-allocations\n";

std::string report() {
  testing::internal::CaptureStdout();
  BMemoryTable::report();
  return testing::internal::GetCapturedStdout();
}

// Each test starts without a table and puts the tracker back that way.
class MemoryTable : public testing::Test {
 protected:
  void SetUp() override { BMemoryTable::free(); }
  void TearDown() override {
    BMemoryTable::free();
    BMemoryTable::tracePause(1);
  }
};

}  // namespace

TEST_F(MemoryTable, NothingIsRecordedUntilTracingIsSwitchedOn) {
  EXPECT_EQ(report(), kNotActive);
  BString s("made while paused");
  delete s.toString();
  EXPECT_EQ(report(), kNotActive) << "the library's own allocations make no table";

  // A direct event makes the table but records nothing, and trace(1) on
  // that lazily made table leaves tracing paused.
  int block = 0;
  BMemoryTable::createEvent(&block, "made while paused");
  EXPECT_EQ(report(), kNothingRecorded);
  BMemoryTable::trace(1);
  EXPECT_EQ(report(), kNothingRecorded);
}

TEST_F(MemoryTable, TraceOnAFreshProcessRecordsTheTableItself) {
  BMemoryTable::trace(1);
  EXPECT_EQ(report(),
            "Memory Table report - 1 pointers remain to be de-allocated...\n"
            "1 allocations and 0 de-allocations\n"
            "1 pointers remain to be de-allocated\n"
            "The remaining pointers are...\n"
            "class of type 'BObject:BPointer'=creation of memory table\r\n");
}

// A destroy event looks its block up by text while records are keyed by
// pointer boxes, so it never finds one; both error lines are the tracker's
// only reports.
TEST_F(MemoryTable, DestroyEventsNeverFindTheirRecord) {
  BMemoryTable::trace(1);
  int block;
  char address[32];
  snprintf(address, sizeof address, "%p", static_cast<void*>(&block));
  testing::internal::CaptureStdout();
  BMemoryTable::createEvent(&block, "first");
  BMemoryTable::createEvent(&block, "second");
  BMemoryTable::destroyEvent(&block);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::string("** Error in create event - reusing an unfreed pointer: ") + address +
                " - 'second'\n" + "** Error in destroy event - unable to find pointer: " + address + "\n");
  EXPECT_EQ(kNumCreates, 3u);
  EXPECT_EQ(kNumDestroys, 1u);
  EXPECT_EQ(kMemoryTable->size(), 2);
}

TEST_F(MemoryTable, FreeLeavesTracingPausedAndTheNextEventStartsAgain) {
  BMemoryTable::trace(1);
  BMemoryTable::trace(0);
  EXPECT_EQ(kMemoryTable, nullptr);
  EXPECT_EQ(kTracePause, 1);
  int block = 0;
  BMemoryTable::createEvent(&block, "x");
  ASSERT_NE(kMemoryTable, nullptr);
  EXPECT_EQ(kMemoryTable->size(), 0);
}
