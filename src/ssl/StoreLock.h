#ifndef ZELVAN_STORELOCK_H_
#define ZELVAN_STORELOCK_H_

#include "policy.h"

struct SessionStore;
struct SharedSessionSegment;

// The lock byte of a certificate's session store (sessionStore.h), held
// for the life of the guard. The byte lives in shared memory and is taken
// with an atomic exchange, so threads of this process and other processes
// exclude one another. A holder keeps it for a memory copy only, never for
// a cryptographic operation, so a waiter rarely sleeps at all; a holder
// that crashed costs a waiter at most maxWaits sleeps.
class StoreLock {
 public:
  // Takes store's lock: yields the processor between attempts, up to
  // kStoreLockYields times, then sleeps kStoreLockWaitMs between them, at
  // most maxWaits times. Not held when store has no segment or the wait
  // ran out.
  explicit StoreLock(SessionStore* store, int maxWaits = kStoreLockWaits);
  // Releases the lock when it is held.
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

  // Whether the lock was had.
  bool held() const { return m_segment != nullptr; }
  // The locked segment, or null when the lock is not held. Valid while the
  // guard lives.
  SharedSessionSegment* segment() const { return m_segment; }

  // Milliseconds this process has slept waiting for store locks since it
  // started: the benchmark reports it, and it should stay 0.
  static long waitedMs();

 private:
  SharedSessionSegment* m_segment;
};

#endif  // ZELVAN_STORELOCK_H_
