#include "MessageRecorder.h"

#include <cerrno>
#include <cstring>

MessageRecorder::~MessageRecorder() {
  if (m_file) std::fclose(m_file);
}

bool MessageRecorder::open(const std::string& path, std::string* error) {
  m_file = std::fopen(path.c_str(), "ab");
  if (!m_file) *error = "cannot open " + path + ": " + std::strerror(errno);
  return m_file != nullptr;
}

void MessageRecorder::record(const std::string& message) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_file) return;
  std::fwrite(message.data(), 1, message.size(), m_file);
  std::fflush(m_file);
}
