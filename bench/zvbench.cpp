// zvbench: the measuring half of `make bench`. Each subcommand runs one
// kind of repetition against a gateway on 127.0.0.1 and prints its wall
// times as one JSON line (see Samples); run_bench.py starts the gateway
// simulator, calls these, and makes the table.
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BenchOptions.h"
#include "Purchase.h"
#include "ReferenceClient.h"
#include "STimeProbe.h"
#include "Samples.h"
#include "sessionStore.h"

namespace {

const char kUsage[] =
    "usage: zvbench library   --port P --cert FILE [--password W] [--ca FILE] [--count N | --seconds S] [--warmup N]\n"
    "       zvbench reference --port P --cert FILE [--password W] [--ca FILE] [--count N | --seconds S] [--warmup N]\n"
    "                 [--resume] [--exchanges N]\n"
    "       zvbench profile   --port P --cert FILE [--password W] [--ca FILE] [--warmup N] [--count N]\n"
    "       zvbench profile-reference --port P --cert FILE [--password W] [--ca FILE] [--warmup N] [--count N]\n"
    "                 [--resume] [--exchanges N]\n"
    "       zvbench stime     -- openssl s_time ARGS...\n"
    "       zvbench drop-store --cert FILE\n";

// Purchases through the library, each timed from the new handle to its
// clean-up. The warm-up ones load the certificate and seed the session.
int runLibrary(const BenchOptions& o) {
  Samples samples;
  for (long i = 0; i < o.warmup; ++i) runPurchase(o.target, -1 - i);
  Samples::Clock::time_point begin = Samples::Clock::now();
  for (long i = 0; anotherRepetition(o, i, begin); ++i) {
    Samples::Clock::time_point start = Samples::Clock::now();
    if (runPurchase(o.target, i)) samples.add(start);
    else samples.fail();
  }
  samples.print(stdout, "library");
  return samples.failed() ? 1 : 0;
}

int runReference(const BenchOptions& o) {
  ReferenceClient client(o.target, o.resume);
  if (!client.ok() || o.exchanges < 0) {
    std::fprintf(stderr, "zvbench: cannot load %s\n", o.target.certificate.c_str());
    return 1;
  }
  Samples samples;
  bool resumed = false;
  for (long i = 0; i < o.warmup; ++i) client.exchange(purchaseMessage(-1 - i), o.exchanges, &resumed);
  Samples::Clock::time_point begin = Samples::Clock::now();
  for (long i = 0; anotherRepetition(o, i, begin); ++i) {
    std::string request = purchaseMessage(i);
    Samples::Clock::time_point start = Samples::Clock::now();
    if (!client.exchange(request, o.exchanges, &resumed)) {
      samples.fail();
      continue;
    }
    samples.add(start);
    if (resumed) samples.resumed();
  }
  samples.print(stdout, "reference");
  return samples.failed() ? 1 : 0;
}

int runSTime(const BenchOptions& o) {
  Samples samples;
  int status = probeSTime(o.command, &samples);
  samples.print(stdout, "s_time");
  return status == 0 && samples.count() > 0 ? 0 : 1;
}

int removeStore(const BenchOptions& o) {
  key_t key = ftok(o.target.certificate.c_str(), kSessionProjectId);
  int id = key == -1 ? -1 : shmget(key, 0, 0);
  if (id != -1) shmctl(id, IPC_RMID, nullptr);
  return 0;
}

}  // namespace

// The transactions that `zvbench profile` and `zvbench profile-reference`
// run under callgrind's --toggle-collect: plain names, so that callgrind
// matches them as given.
extern "C" __attribute__((noinline)) bool zvbenchProfiledPurchase(const GatewayTarget* target, long sequence) {
  return runPurchase(*target, sequence);
}

// The reference's request is made inside, as the library's purchase
// fills its bundle inside the profiled call.
extern "C" __attribute__((noinline)) bool zvbenchProfiledReference(ReferenceClient* client, long sequence,
                                                                   int exchanges) {
  bool resumed = false;
  return client->exchange(purchaseMessage(sequence), exchanges, &resumed);
}

namespace {

// Warm-up purchases (the certificate loaded, the session stored), then
// count profiled ones; the driver divides the instructions by count.
int profileLibrary(const BenchOptions& o) {
  for (long i = 0; i < o.warmup; ++i) runPurchase(o.target, -1 - i);
  bool ok = true;
  for (long i = 0; i < o.count; ++i) ok = zvbenchProfiledPurchase(&o.target, i) && ok;
  return ok ? 0 : 1;
}

// The same for the OpenSSL-only client.
int profileReference(const BenchOptions& o) {
  ReferenceClient client(o.target, o.resume);
  if (!client.ok()) return 1;
  bool resumed = false;
  for (long i = 0; i < o.warmup; ++i) client.exchange(purchaseMessage(-1 - i), o.exchanges, &resumed);
  bool ok = true;
  for (long i = 0; i < o.count; ++i) ok = zvbenchProfiledReference(&client, i, o.exchanges) && ok;
  return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  BenchOptions options;
  if (argc < 2 || !parseBenchOptions(argc, argv, &options)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  std::string command = argv[1];
  if (command == "stime") return runSTime(options);
  if (command == "drop-store") return removeStore(options);
  if (options.target.port <= 0 || options.target.certificate.empty()) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  if (command == "library") return runLibrary(options);
  if (command == "reference") return runReference(options);
  if (command == "profile") return profileLibrary(options);
  if (command == "profile-reference") return profileReference(options);
  std::fputs(kUsage, stderr);
  return 2;
}
