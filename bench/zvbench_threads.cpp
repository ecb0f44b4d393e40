// zvbench-threads: purchases from many threads of one process at once,
// through the library or through the OpenSSL-only client, with the CPU
// time the process spent per purchase. It links the library's objects
// directly rather than libzelvanclient.so, so that it can read how long
// the process waited for the session store's lock (StoreLock), which the
// shared library does not export.
#include <sys/resource.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "BenchOptions.h"
#include "Purchase.h"
#include "ReferenceClient.h"
#include "StoreLock.h"

namespace {

const char kUsage[] =
    "usage: zvbench-threads library|reference --port P --cert FILE [--password W] [--ca FILE]\n"
    "                 --threads T [--count N] [--warmup N] [--resume] [--exchanges N]\n"
    "Each thread runs its warm-up purchases, then all run count purchases at once.\n";

double cpuMicros() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  auto us = [](const timeval& t) { return t.tv_sec * 1e6 + t.tv_usec; };
  return us(usage.ru_utime) + us(usage.ru_stime);
}

// Holds every thread after its warm-up until all are warm, so that only
// the purchases made together are measured.
class StartLine {
 public:
  explicit StartLine(int threads) : m_waiting(threads) {}
  void arriveAndWait() {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (--m_waiting == 0) m_ready.notify_all();
    m_go.wait(lock, [this] { return m_started; });
  }
  void waitForAll() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ready.wait(lock, [this] { return m_waiting == 0; });
  }
  void start() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_started = true;
    m_go.notify_all();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_ready, m_go;
  int m_waiting;
  bool m_started = false;
};

// One thread's purchases: the library's through the C API, or the
// reference's through a client of its own.
void purchases(const BenchOptions& o, bool library, int thread, StartLine* line, std::atomic<long>* failed) {
  std::unique_ptr<ReferenceClient> client;
  if (!library) client.reset(new ReferenceClient(o.target, o.resume));
  long base = thread * 1000000L;
  auto one = [&](long sequence) {
    bool resumed = false;
    bool ok = library ? runPurchase(o.target, sequence) : client->ok() && client->exchange(purchaseMessage(sequence), o.exchanges, &resumed);
    if (!ok) ++*failed;
  };
  for (long i = 0; i < o.warmup; ++i) one(-base - 1 - i);
  line->arriveAndWait();
  for (long i = 0; i < o.count; ++i) one(base + i);
}

}  // namespace

int main(int argc, char** argv) {
  BenchOptions o;
  std::string mode = argc > 1 ? argv[1] : "";
  if ((mode != "library" && mode != "reference") || !parseBenchOptions(argc, argv, &o) || o.threads < 1 ||
      o.target.port <= 0 || o.target.certificate.empty()) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  StartLine line(o.threads);
  std::atomic<long> failed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < o.threads; ++t) {
    threads.emplace_back(purchases, std::cref(o), mode == "library", t, &line, &failed);
  }
  line.waitForAll();
  double cpuBefore = cpuMicros();
  long waitedBefore = StoreLock::waitedMs();
  Samples::Clock::time_point begin = Samples::Clock::now();
  line.start();
  for (std::thread& t : threads) t.join();
  double wall = Samples::micros(begin, Samples::Clock::now());
  long purchasesMade = o.count * o.threads;
  std::printf("{\"what\": \"%s\", \"threads\": %d, \"purchases\": %ld, \"failed\": %ld, "
              "\"cpu_us_per_purchase\": %.1f, \"wall_us\": %.0f, \"store_lock_waited_ms\": %ld}\n",
              mode.c_str(), o.threads, purchasesMade, failed.load(),
              purchasesMade ? (cpuMicros() - cpuBefore) / purchasesMade : 0.0, wall,
              StoreLock::waitedMs() - waitedBefore);
  return failed.load() == 0 ? 0 : 1;
}
