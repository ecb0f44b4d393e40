// zvbench-threads: purchases from many threads of one process at once,
// each thread alternating between the library and an OpenSSL-only client
// of its own, with the CPU time each side took per purchase. Both sides
// run in the same process, on the same threads, in turns of a few
// purchases whose order changes from turn to turn, so that whatever else
// loads the machine falls on both alike. It links the library's objects
// directly rather than libzelvanclient.so, so that it can read how long
// the process waited for the session store's lock (StoreLock), which the
// shared library does not export.
#include <time.h>

#include <algorithm>
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
    "usage: zvbench-threads compare --port P --cert FILE [--password W] [--ca FILE]\n"
    "                 --threads T [--count N] [--warmup N]\n"
    "Each thread runs its warm-up purchases on both sides, then all threads make\n"
    "count purchases on each side at once, in turns of kTurn purchases.\n";

// Purchases per turn: short enough that both sides see the same load,
// long enough that reading the clock costs nothing by comparison.
const long kTurn = 10;

double threadCpuMicros() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return t.tv_sec * 1e6 + t.tv_nsec / 1e3;
}

// CPU time and purchases of one side, summed over the threads.
struct SideTotals {
  std::atomic<long> purchases{0};
  std::atomic<long> failed{0};
  std::atomic<long long> cpuNanos{0};
};

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

// One thread's purchases: turns of the library's, through the C API, and
// of the reference's, through a client of its own, the side that goes
// first changing with every turn and from thread to thread.
void purchases(const BenchOptions& o, int thread, StartLine* line, SideTotals* library,
               SideTotals* reference) {
  ReferenceClient client(o.target, true);
  long base = thread * 1000000L;
  auto one = [&](bool onLibrary, long sequence) {
    bool resumed = false;
    return onLibrary ? runPurchase(o.target, sequence)
                     : client.ok() && client.exchange(purchaseMessage(sequence), 2, &resumed);
  };
  for (long i = 0; i < o.warmup; ++i) {
    if (!one(true, -base - 1 - i)) ++library->failed;
    if (!one(false, -base - 1 - i)) ++reference->failed;
  }
  line->arriveAndWait();
  long sequence = base;
  for (long done = 0, turn = thread; done < o.count; ++turn) {
    long n = std::min(kTurn, o.count - done);
    for (int side = 0; side < 2; ++side) {
      bool onLibrary = (turn + side) % 2 == 0;
      SideTotals* totals = onLibrary ? library : reference;
      double before = threadCpuMicros();
      for (long i = 0; i < n; ++i) {
        if (!one(onLibrary, sequence++)) ++totals->failed;
      }
      totals->cpuNanos += static_cast<long long>((threadCpuMicros() - before) * 1e3);
      totals->purchases += n;
    }
    done += n;
  }
}

}  // namespace

int main(int argc, char** argv) {
  BenchOptions o;
  std::string mode = argc > 1 ? argv[1] : "";
  if (mode != "compare" || !parseBenchOptions(argc, argv, &o) || o.threads < 1 || o.target.port <= 0 || o.target.certificate.empty()) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  StartLine line(o.threads);
  SideTotals library, reference;
  std::vector<std::thread> threads;
  for (int t = 0; t < o.threads; ++t) {
    threads.emplace_back(purchases, std::cref(o), t, &line, &library, &reference);
  }
  line.waitForAll();
  long waitedBefore = StoreLock::waitedMs();
  Samples::Clock::time_point begin = Samples::Clock::now();
  line.start();
  for (std::thread& t : threads) t.join();
  double wall = Samples::micros(begin, Samples::Clock::now());
  auto perPurchase = [](const SideTotals& side) {
    return side.purchases ? side.cpuNanos / 1e3 / side.purchases : 0.0;
  };
  std::printf("{\"threads\": %d, \"purchases\": %ld, \"failed\": %ld, \"library_cpu_us_per_purchase\": %.1f, "
              "\"reference_cpu_us_per_purchase\": %.1f, \"wall_us\": %.0f, \"store_lock_waited_ms\": %ld}\n",
              o.threads, library.purchases.load(), library.failed + reference.failed, perPurchase(library),
              perPurchase(reference), wall, StoreLock::waitedMs() - waitedBefore);
  return library.failed + reference.failed == 0 ? 0 : 1;
}
