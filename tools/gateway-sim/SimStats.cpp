#include "SimStats.h"

#include <cctype>
#include <cstdio>
#include <utility>

SimStats::SimStats(std::string path) : m_path(std::move(path)) {
  for (const char* name : {kConnections, kHandshakesFull, kHandshakesResumed, kHandshakesFailed, kMessages,
                           kApproved, kDeclined, kErrors, kFaults}) {
    m_counters[name] = 0;
  }
  std::lock_guard<std::mutex> lock(m_mutex);
  writeFileLocked();
}

void SimStats::increment(const std::string& name) {
  std::lock_guard<std::mutex> lock(m_mutex);
  ++m_counters[name];
  writeFileLocked();
}

void SimStats::countMessage(const std::string& transactionType) {
  std::string name = "messages_";
  if (transactionType.empty()) name += "UNTYPED";
  // Bounded, so that a hostile type cannot grow the file without limit.
  for (size_t i = 0; i < transactionType.size() && i < 32; ++i) {
    unsigned char c = static_cast<unsigned char>(transactionType[i]);
    name += std::isalnum(c) ? static_cast<char>(std::toupper(c)) : '_';
  }
  std::lock_guard<std::mutex> lock(m_mutex);
  ++m_counters[kMessages];
  ++m_counters[name];
  writeFileLocked();
}

void SimStats::print(FILE* out) {
  std::lock_guard<std::mutex> lock(m_mutex);
  writeCountersLocked(out);
  std::fflush(out);
}

void SimStats::writeFileLocked() {
  if (m_path.empty()) return;
  std::string temporary = m_path + ".tmp";
  FILE* file = std::fopen(temporary.c_str(), "w");
  if (!file) return;
  writeCountersLocked(file);
  if (std::fclose(file) == 0) std::rename(temporary.c_str(), m_path.c_str());
}

void SimStats::writeCountersLocked(FILE* out) {
  for (const auto& [name, value] : m_counters) std::fprintf(out, "%s=%lld\n", name.c_str(), value);
}
