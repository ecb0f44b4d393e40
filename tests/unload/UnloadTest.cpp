#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>

#include "GatewaySim.h"
#include "TestCertificates.h"

// ASan's quarantine and shadow memory, and TSan's shadow memory, grow the
// resident size whatever the library does, and dlclose under them keeps
// the library's memory: the size says nothing there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZV_RSS_MEANINGLESS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZV_RSS_MEANINGLESS 1
#endif
#endif

namespace {

// Removes, however the test ends, the session-store segment that the
// purchases create for the certificate file.
class StoreSegmentRemover {
 public:
  explicit StoreSegmentRemover(std::string certPath) : m_certPath(std::move(certPath)) {}
  ~StoreSegmentRemover() {
    key_t key = ftok(m_certPath.c_str(), 82);
    int segment = key == -1 ? -1 : shmget(key, 0, 0);
    if (segment != -1) shmctl(segment, IPC_RMID, nullptr);
  }
  StoreSegmentRemover(const StoreSegmentRemover&) = delete;
  StoreSegmentRemover& operator=(const StoreSegmentRemover&) = delete;

 private:
  std::string m_certPath;
};

// The process's resident size in bytes.
long residentBytes() {
  long pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

template <typename F>
F symbol(void* library, const char* name) {
  void* found = dlsym(library, name);
  if (found == nullptr) ADD_FAILURE() << "missing " << name;
  return reinterpret_cast<F>(found);
}

// Loads the library, runs one purchase against the gateway at port with
// the certificate file certPath, and unloads it. Returns the RESULT.
std::string purchaseInFreshLibrary(const TestCertificates& certs, const std::string& certPath, int port) {
  void* library = dlopen(ZV_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    ADD_FAILURE() << dlerror();
    return "";
  }
  using NewBundle = void* (*)();
  using Put = int (*)(void*, const char*, const char*);
  using Set = int (*)(void*, const char*);
  using Execute = int (*)(void*);
  using Get = const char* (*)(void*, const char*);
  using Cleanup = void (*)(void*);
  void* t = symbol<NewBundle>(library, "newBundle")();
  Put put = symbol<Put>(library, "put");
  symbol<Set>(library, "setServers")(t, "127.0.0.1");
  symbol<Set>(library, "setPort")(t, std::to_string(port).c_str());
  symbol<Set>(library, "put_ClientID")(t, "10000001");
  symbol<Set>(library, "put_CertificatePath")(t, certPath.c_str());
  symbol<Set>(library, "put_CertificatePassword")(t, certs.password().c_str());
  put(t, "_CAFILE", certs.caCert().c_str());
  put(t, "TRANSACTIONTYPE", "PURCHASE");
  put(t, "CARDDATA", "4111111111111111");
  put(t, "CARDEXPIRYDATE", "1230");
  put(t, "CVC2", "7319");
  put(t, "AMOUNT", "12.50");
  symbol<Execute>(library, "execute")(t);
  const char* result = symbol<Get>(library, "get")(t, "RESULT");
  std::string copy = result ? result : "";
  symbol<Cleanup>(library, "cleanup")(t);
  dlclose(library);
  return copy;
}

}  // namespace

// Everything the library makes while loaded (its OpenSSL library context,
// parsed certificates, session-store attachments) goes when it is
// unloaded. ZV_UNLOAD_CYCLES raises the number of cycles (default 300).
TEST(Unload, LoadPurchaseUnloadCyclesKeepTheProcessFlat) {
#ifdef ZV_RSS_MEANINGLESS
  GTEST_SKIP() << "the resident size is meaningless under AddressSanitizer and ThreadSanitizer";
#endif
  const TestCertificates& certs = TestCertificates::shared();
  GatewaySim gateway(certs);
  const char* asked = std::getenv("ZV_UNLOAD_CYCLES");
  const int cycles = asked != nullptr && std::atoi(asked) > 0 ? std::atoi(asked) : 300;
  // PKCS#12, so that the legacy-capable reading path is exercised too.
  const std::string certPath = certs.clientP12();
  StoreSegmentRemover removeSegment(certPath);
  for (int i = 0; i < 20; i++) ASSERT_EQ(purchaseInFreshLibrary(certs, certPath, gateway.port()), "0");
  long before = residentBytes();
  for (int i = 0; i < cycles; i++) ASSERT_EQ(purchaseInFreshLibrary(certs, certPath, gateway.port()), "0") << i;
  long grown = residentBytes() - before;
  RecordProperty("grown_bytes", std::to_string(grown));
  EXPECT_LT(grown, 2L * 1024 * 1024) << "grew by " << grown << " bytes over " << cycles << " cycles";
}
