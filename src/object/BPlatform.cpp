#include "BPlatform.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

void Sleep(int ms) {
  struct timespec request;
  if (ms <= 999) {
    request.tv_sec = 0;
    request.tv_nsec = static_cast<long>(ms) * 1000000L;
  } else {
    request.tv_sec = ms / 1000;
    request.tv_nsec = static_cast<long>(ms - request.tv_sec * 1000) * 1000000L;
  }
  struct timespec remaining;
  while (nanosleep(&request, &remaining) == -1) {
    if (errno == EINTR) request = remaining;
  }
}

int64_t GetTickCount() {
  // Read before the origin, so that the very first call gives 0. The
  // origin is set once, by whichever thread calls first; the others wait
  // for it (a function-local static's start-up is thread-safe).
  time_t now = time(nullptr);
  static const time_t origin = now;
  return static_cast<int64_t>(now - origin) * 1000;
}

char* CopyString(const char* s) {
  if (s == nullptr) return nullptr;
  size_t n = strlen(s) + 1;
  char* copy = static_cast<char*>(malloc(n));
  if (copy != nullptr) memcpy(copy, s, n);
  return copy;
}
