#ifndef ZELVAN_BENCH_SAMPLES_H_
#define ZELVAN_BENCH_SAMPLES_H_

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

// Wall times of the repetitions of one measured operation, in
// microseconds, with the counts a run reports beside them. The driver
// (run_bench.py) reads the JSON line that print() writes and computes the
// statistics, so every program reports in the same form.
class Samples {
 public:
  using Clock = std::chrono::steady_clock;

  // Records one repetition that ran from start to now.
  void add(Clock::time_point start) { addMicros(micros(start, Clock::now())); }
  void addMicros(double us) { m_micros.push_back(us); }
  // Counts a repetition that failed; its time is not recorded.
  void fail() { ++m_failed; }
  // Counts a repetition whose TLS session was resumed.
  void resumed() { ++m_resumed; }

  size_t count() const { return m_micros.size(); }
  long failed() const { return m_failed; }

  // Writes {"what": ..., "samples_us": [...], "failed": n, "resumed": n}
  // on one line to out.
  void print(FILE* out, const std::string& what) const;

  static double micros(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::micro>(to - from).count();
  }

 private:
  std::vector<double> m_micros;
  long m_failed = 0;
  long m_resumed = 0;
};

#endif  // ZELVAN_BENCH_SAMPLES_H_
