#ifndef ZELVAN_TESTS_SESSIONSEGMENT_H_
#define ZELVAN_TESTS_SESSIONSEGMENT_H_

#include <string>

#include "sessionStore.h"

// The shared-memory session store of a certificate file, attached the way
// another process on the machine would see it, so that a test can play a
// crashed or misbehaving process: leave the lock taken, or scribble over
// the stored session. Detaches in the destructor; removes nothing.
class SessionSegment {
 public:
  // Attaches the existing segment of certificatePath; throws
  // std::runtime_error when there is none.
  explicit SessionSegment(const std::string& certificatePath);
  ~SessionSegment();
  SessionSegment(const SessionSegment&) = delete;
  SessionSegment& operator=(const SessionSegment&) = delete;

  // The segment as every process sees it; writes are seen at once.
  SharedSessionSegment* operator->() const { return m_segment; }

  // Fills the session data with pseudo-random bytes from seed and sets the
  // stored length to length (which may lie outside the data field).
  void scribble(unsigned seed, int length);

 private:
  SharedSessionSegment* m_segment;
};

#endif  // ZELVAN_TESTS_SESSIONSEGMENT_H_
