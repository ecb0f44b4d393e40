#ifndef ZELVAN_GATEWAYSIM_MESSAGERECORDER_H_
#define ZELVAN_GATEWAYSIM_MESSAGERECORDER_H_

#include <cstdio>
#include <mutex>
#include <string>

// Appends every received message, whole and end marker included, to a
// file, flushing after each, so that a test can read what a client sent
// while the simulator runs. Does nothing when no file is open.
// Thread-safe.
class MessageRecorder {
 public:
  MessageRecorder() = default;
  ~MessageRecorder();
  MessageRecorder(const MessageRecorder&) = delete;
  MessageRecorder& operator=(const MessageRecorder&) = delete;

  // Opens path for appending; returns false with the reason in error.
  bool open(const std::string& path, std::string* error);

  void record(const std::string& message);

 protected:
  std::mutex m_mutex;
  FILE* m_file = nullptr;
};

#endif  // ZELVAN_GATEWAYSIM_MESSAGERECORDER_H_
