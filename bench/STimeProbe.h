#ifndef ZELVAN_BENCH_STIMEPROBE_H_
#define ZELVAN_BENCH_STIMEPROBE_H_

#include <string>
#include <vector>

#include "Samples.h"

// Runs `openssl s_time` (command, with its arguments) and times each of
// its connections. s_time reports only totals, in CPU seconds, but it
// prints one character per finished connection ('r' when the session was
// resumed) and flushes it at once; the time between two characters is the
// wall time of one connection. The first connection, whose start is not
// seen, is not recorded. Returns s_time's exit status, or -1 when it could
// not be run.
int probeSTime(const std::vector<std::string>& command, Samples* samples);

#endif  // ZELVAN_BENCH_STIMEPROBE_H_
