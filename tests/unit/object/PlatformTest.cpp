#include <gtest/gtest.h>

#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <cstdint>

#include "BPlatform.h"

// ctest runs each test in a process of its own, so this is the first call.
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
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}
