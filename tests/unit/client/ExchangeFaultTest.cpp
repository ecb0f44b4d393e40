// An exchange that ends in an exception releases what it holds: its socket
// is closed and its SSL context is back in the pool, idle.
#include <gtest/gtest.h>

#include <filesystem>

#include <functional>
#include <stdexcept>
#include <string>

#include "BHashTable.h"
#include "BSSLContext.h"
#include "BVector.h"
#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "faultHook.h"
#include "memTrack.h"
#include "sslPool.h"

namespace {

// What the exchange's fault points do in this program: nothing unless a
// test sets it.
std::function<void(const char*)> gFault;

long openDescriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

// The pool's contexts that are marked in use.
int contextsInUse() {
  int inUse = 0;
  BVector* lists = m_ssl_contexts->getValues();
  for (int i = 0; i < lists->size(); i++) {
    BVector* contexts = static_cast<BVector*>(lists->get(i, 0));
    for (int j = 0; j < contexts->size(); j++) {
      if (static_cast<BSSLContext*>(contexts->get(j, 0))->inUse()) inUse++;
    }
  }
  trackDelete(lists);
  return inUse;
}

}  // namespace

extern "C" void zvExchangeFault(const char* point) {
  if (gFault) gFault(point);
}

TEST(ExchangeFault, AnExceptionReleasesTheSocketAndTheContext) {
  TestCertificates certs;
  SessionStoreGuard store(certs);
  GatewaySim sim(certs);
  {
    // The first transaction of the process sets up what stays (the pool,
    // OpenSSL), so that what follows counts only what an exchange holds.
    MerchantTxn warmUp(certs, sim.port());
    ASSERT_EQ(warmUp.execute(), 1);
  }
  const long descriptors = openDescriptors();

  struct {
    const char* point;
    int outcome;
  } cases[] = {
      // Connected, nothing sent: the payment cannot have been taken.
      {"connected", ZELVAN_OUTCOME_NO_DECISION},
      // The gateway has given a reference: the payment may have been taken.
      {"first reply read", ZELVAN_OUTCOME_UNKNOWN},
  };
  for (const auto& c : cases) {
    gFault = [&c](const char* point) {
      if (std::string(point) == c.point) throw std::runtime_error("injected");
    };
    MerchantTxn txn(certs, sim.port());
    EXPECT_EQ(txn.execute(), 0) << c.point;
    gFault = nullptr;
    EXPECT_EQ(txn.field("ERROR"), "Unknown exception during transaction execution.") << c.point;
    EXPECT_EQ(zelvanclient_outcome(txn.handle()), c.outcome) << c.point;
    EXPECT_EQ(contextsInUse(), 0) << c.point;
    EXPECT_EQ(openDescriptors(), descriptors) << c.point;
  }

  // The context released after the exception serves the next transaction.
  MerchantTxn after(certs, sim.port());
  EXPECT_EQ(after.execute(), 1);
  EXPECT_EQ(after.field("RESULT"), "0");
}
