#ifndef ZELVAN_BENCH_BENCHOPTIONS_H_
#define ZELVAN_BENCH_BENCHOPTIONS_H_

#include <string>
#include <vector>

#include "Purchase.h"
#include "Samples.h"

// The command line shared by the benchmark programs: the gateway and
// certificate, how many repetitions, and what the reference client does.
struct BenchOptions {
  GatewayTarget target;
  long count = 100;
  double seconds = 0;  // when above 0, repeat for this long instead of count times
  long warmup = 2;
  int exchanges = 1;
  int threads = 1;
  bool resume = false;
  std::vector<std::string> command;  // what follows "--"
};

// Reads argv[2..] (argv[1] is the subcommand) into *options; false on an
// unknown option or a missing value.
bool parseBenchOptions(int argc, char** argv, BenchOptions* options);

// Whether repetition i is to run: count of them, or as many as fit in the
// time given.
bool anotherRepetition(const BenchOptions& o, long i, Samples::Clock::time_point begin);

#endif  // ZELVAN_BENCH_BENCHOPTIONS_H_
