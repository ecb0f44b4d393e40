#include "Deadline.h"

#include <algorithm>

#include "policy.h"

Deadline::Deadline() : set_(false), end_() {}

Deadline Deadline::after(int64_t boundMs) {
  int64_t ms = std::min<int64_t>(std::max<int64_t>(boundMs, 0), kLongestDeadlineMs);
  return Deadline(true, Clock::now() + std::chrono::milliseconds(ms));
}

int64_t Deadline::remainingMs() const {
  if (!set_) return kNoBoundMs;
  Clock::duration left = end_ - Clock::now();
  if (left <= Clock::duration::zero()) return 0;
  return std::chrono::ceil<std::chrono::milliseconds>(left).count();
}

int Deadline::clamp(int ownBoundMs) const {
  if (!set_) return ownBoundMs;
  return static_cast<int>(std::min<int64_t>(ownBoundMs, remainingMs()));
}

bool Deadline::expired() const { return set_ && Clock::now() >= end_; }

Deadline Deadline::earlier(const Deadline& a, const Deadline& b) {
  if (!a.set_) return b;
  if (!b.set_) return a;
  return a.end_ <= b.end_ ? a : b;
}
