#include "BenchOptions.h"

#include <cstdlib>

bool parseBenchOptions(int argc, char** argv, BenchOptions* options) {
  for (int i = 2; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--") {
      options->command.assign(argv + i + 1, argv + argc);
      return !options->command.empty();
    }
    if (arg == "--resume") {
      options->resume = true;
      continue;
    }
    if (i + 1 >= argc) return false;
    const char* value = argv[++i];
    if (arg == "--port") options->target.port = std::atoi(value);
    else if (arg == "--cert") options->target.certificate = value;
    else if (arg == "--password") options->target.password = value;
    else if (arg == "--ca") options->target.caFile = value;
    else if (arg == "--count") options->count = std::atol(value);
    else if (arg == "--seconds") options->seconds = std::atof(value);
    else if (arg == "--warmup") options->warmup = std::atol(value);
    else if (arg == "--exchanges") options->exchanges = std::atoi(value);
    else if (arg == "--threads") options->threads = std::atoi(value);
    else return false;
  }
  return true;
}

bool anotherRepetition(const BenchOptions& o, long i, Samples::Clock::time_point begin) {
  if (o.seconds > 0) return Samples::micros(begin, Samples::Clock::now()) < o.seconds * 1e6;
  return i < o.count;
}
