#include <gtest/gtest.h>

#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "BHashTable.h"
#include "BMemoryTable.h"
#include "BPlatform.h"
#include "BString.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

// Each test runs in a process of its own (ctest), so the global table starts
// absent; the tests still put it back the way they found it.
class MemoryTable : public testing::Test {
 protected:
  void TearDown() override {
    BMemoryTable::free();
    BMemoryTable::tracePause(1);
  }
};

TEST_F(MemoryTable, ReportWithoutTableSaysSo) {
  BMemoryTable::free();
  CaptureStdout();
  BMemoryTable::report();
  EXPECT_EQ(GetCapturedStdout(), "Memory Table report - table not active\n");
}

TEST_F(MemoryTable, LibraryAllocationsWhilePausedLeaveNoTable) {
  BMemoryTable::free();
  BString s("made while paused");
  delete s.toString();
  CaptureStdout();
  BMemoryTable::report();
  EXPECT_EQ(GetCapturedStdout(), "Memory Table report - table not active\n");
}

TEST_F(MemoryTable, DirectEventWhilePausedMakesAnEmptyTableThatTraceLeavesPaused) {
  BMemoryTable::free();
  int block = 0;
  BMemoryTable::createEvent(&block, "made while paused");
  CaptureStdout();
  BMemoryTable::report();
  EXPECT_EQ(GetCapturedStdout(),
            "Memory Table report - 0 pointers remain to be de-allocated...\n"
            "0 allocations and 0 de-allocations\n");
  BMemoryTable::trace(1);
  CaptureStdout();
  BMemoryTable::report();
  EXPECT_EQ(GetCapturedStdout(),
            "Memory Table report - 0 pointers remain to be de-allocated...\n"
            "0 allocations and 0 de-allocations\n");
}

TEST_F(MemoryTable, TraceOnAFreshProcessRecordsTheTableItself) {
  BMemoryTable::free();
  BMemoryTable::trace(1);
  CaptureStdout();
  BMemoryTable::report();
  EXPECT_EQ(GetCapturedStdout(),
            "Memory Table report - 1 pointers remain to be de-allocated...\n"
            "1 allocations and 0 de-allocations\n"
            "1 pointers remain to be de-allocated\n"
            "The remaining pointers are...\n"
            "class of type 'BObject:BPointer'=creation of memory table\r\n");
}

TEST_F(MemoryTable, DestroyEventsNeverFindTheirRecord) {
  BMemoryTable::free();
  BMemoryTable::trace(1);
  int block;
  char address[32];
  snprintf(address, sizeof address, "%p", static_cast<void*>(&block));
  CaptureStdout();
  BMemoryTable::createEvent(&block, "first");
  BMemoryTable::createEvent(&block, "second");
  BMemoryTable::destroyEvent(&block);
  EXPECT_EQ(GetCapturedStdout(),
            std::string("** Error in create event - reusing an unfreed pointer: ") + address +
                " - 'second'\n" + "** Error in destroy event - unable to find pointer: " +
                address + "\n");
  EXPECT_EQ(kNumCreates, 3u);
  EXPECT_EQ(kNumDestroys, 1u);
  EXPECT_EQ(kMemoryTable->size(), 2);
}

TEST_F(MemoryTable, FreeLeavesTracingPausedAndTheNextEventStartsAgain) {
  BMemoryTable::free();
  BMemoryTable::trace(1);
  BMemoryTable::trace(0);
  EXPECT_EQ(kMemoryTable, nullptr);
  EXPECT_EQ(kTracePause, 1);
  int block = 0;
  BMemoryTable::createEvent(&block, "x");
  ASSERT_NE(kMemoryTable, nullptr);
  EXPECT_EQ(kMemoryTable->size(), 0);
}

TEST(Platform, TickCountStartsAtZeroInWholeSeconds) {
  EXPECT_EQ(GetTickCount(), 0);
  Sleep(1100);
  int64_t later = GetTickCount();
  EXPECT_EQ(later % 1000, 0);
  EXPECT_GE(later, 1000);
}

namespace {
void ignoreAlarm(int) {}
}  // namespace

TEST(Platform, SleepResumesAfterASignal) {
  struct sigaction action = {};
  action.sa_handler = ignoreAlarm;
  sigaction(SIGALRM, &action, nullptr);
  struct itimerval timer = {};
  timer.it_value.tv_usec = 50000;
  setitimer(ITIMER_REAL, &timer, nullptr);
  auto start = std::chrono::steady_clock::now();
  Sleep(300);
  auto slept = std::chrono::steady_clock::now() - start;
  EXPECT_GE(slept, std::chrono::milliseconds(300));
  Sleep(0);
}

TEST(Platform, CopyStringUsesMalloc) {
  EXPECT_EQ(CopyString(nullptr), nullptr);
  char* empty = CopyString("");
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty[0], '\0');
  free(empty);
  char* copy = CopyString("abc");
  EXPECT_STREQ(copy, "abc");
  free(copy);
}
