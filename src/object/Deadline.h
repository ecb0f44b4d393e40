#ifndef ZELVAN_DEADLINE_H_
#define ZELVAN_DEADLINE_H_

#include <chrono>
#include <cstdint>

// The time a whole operation may still take, such as a checkout page's
// bound on one payment. Every wait inside the operation keeps its own
// bound (policy.h) and takes the smaller of that and the time left, so a
// deadline only ever shortens waits. An unset deadline ("none") leaves
// every wait at its own bound. Measured on the monotonic clock, so a
// change of the wall clock neither extends nor cuts it.
// Cheap to copy; a copy counts down to the same instant. Thread-safe to
// read from several threads.
class Deadline {
 public:
  // No deadline: remainingMs() is kNoBoundMs, clamp() returns the wait's
  // own bound, expired() is false.
  Deadline();

  // Ends boundMs milliseconds from now. A bound of 0 or less has expired
  // at once.
  static Deadline after(int64_t boundMs);

  // The milliseconds an unset deadline reports as left.
  static constexpr int64_t kNoBoundMs = INT64_MAX;

  // Whether a bound was given.
  bool isSet() const { return set_; }

  // Milliseconds left, 0 once expired; kNoBoundMs when unset. A part of a
  // millisecond left counts as a whole one, so a wait given this time
  // never polls with 0 before the deadline is really over.
  int64_t remainingMs() const;

  // The smaller of ownBoundMs and the time left: the bound for one wait.
  // ownBoundMs when unset; 0 once expired.
  int clamp(int ownBoundMs) const;

  // The deadline is set and has passed.
  bool expired() const;

  // Whichever of a and b ends first; an unset one never does.
  static Deadline earlier(const Deadline& a, const Deadline& b);

 private:
  using Clock = std::chrono::steady_clock;
  Deadline(bool set, Clock::time_point end) : set_(set), end_(end) {}

  bool set_;
  Clock::time_point end_;
};

#endif  // ZELVAN_DEADLINE_H_
