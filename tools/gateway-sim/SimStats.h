#ifndef ZELVAN_GATEWAYSIM_SIMSTATS_H_
#define ZELVAN_GATEWAYSIM_SIMSTATS_H_

#include <cstdio>
#include <map>
#include <mutex>
#include <string>

// The simulator's counters. Every change rewrites the stats file, when one
// is set, as "name=value" lines sorted by name; the file is replaced
// atomically, so a reader never sees half of it. Thread-safe.
class SimStats {
 public:
  // Counters that always appear, from 0.
  static constexpr const char* kConnections = "connections";
  static constexpr const char* kHandshakesFull = "handshakes_full";
  static constexpr const char* kHandshakesResumed = "handshakes_resumed";
  static constexpr const char* kHandshakesFailed = "handshakes_failed";
  static constexpr const char* kMessages = "messages";
  static constexpr const char* kApproved = "approved";
  static constexpr const char* kDeclined = "declined";
  static constexpr const char* kErrors = "errors";
  static constexpr const char* kFaults = "faults";

  // path may be empty: the counters are then kept in memory only.
  explicit SimStats(std::string path);

  // Adds 1 to the counter name, creating it at 0 first.
  void increment(const std::string& name);

  // Counts one received message: "messages", and "messages_<TYPE>" with
  // the transaction type in upper case ("UNTYPED" when there is none;
  // characters other than letters, digits and "_" become "_").
  void countMessage(const std::string& transactionType);

  // Writes the counters as "name=value" lines.
  void print(FILE* out);

 protected:
  void writeFileLocked();
  void writeCountersLocked(FILE* out);

  std::mutex m_mutex;
  std::string m_path;
  std::map<std::string, long long> m_counters;
};

#endif  // ZELVAN_GATEWAYSIM_SIMSTATS_H_
