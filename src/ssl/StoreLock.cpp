#include "StoreLock.h"

#include <sched.h>

#include <atomic>

#include "BPlatform.h"
#include "sessionStore.h"

namespace {

std::atomic<long> gWaitedMs{0};

}  // namespace

StoreLock::StoreLock(SessionStore* store, int maxWaits) : m_segment(nullptr) {
  SharedSessionSegment* segment = storeSegment(store);
  if (segment == nullptr) return;
  // The byte is shared with other processes; the exchange makes taking it
  // one step, so two holders can never both see it free.
  auto take = [&] {
    if (__atomic_exchange_n(&segment->lockFlag, 1, __ATOMIC_ACQUIRE) != 0) return false;
    m_segment = segment;
    return true;
  };
  for (int yields = 0; yields < kStoreLockYields; yields++) {
    if (take()) return;
    sched_yield();
  }
  for (int waits = 0;; waits++) {
    if (take()) return;
    if (waits >= maxWaits) return;
    Sleep(kStoreLockWaitMs);
    gWaitedMs += kStoreLockWaitMs;
  }
}

StoreLock::~StoreLock() {
  if (m_segment != nullptr) __atomic_store_n(&m_segment->lockFlag, 0, __ATOMIC_RELEASE);
}

long StoreLock::waitedMs() { return gWaitedMs.load(); }
