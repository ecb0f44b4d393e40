#ifndef ZELVAN_BPLATFORM_H_
#define ZELVAN_BPLATFORM_H_

#include <cstdint>

// Blocks the calling thread for ms milliseconds (nanosleep), resuming
// after signals for the time that remains. ms must be 0 or more: a
// negative request is invalid and is retried for ever.
void Sleep(int ms);

// Milliseconds since the first call, with a resolution of one second:
// (now - origin) * 1000 with now read by time(). The first call returns 0.
// Follows changes of the wall clock.
int64_t GetTickCount();

// Returns a malloc'd copy of s, or null for a null s or a failed
// allocation. The caller releases it with free().
char* CopyString(const char* s);

#endif  // ZELVAN_BPLATFORM_H_
