#ifndef ZELVAN_TESTS_FAULTS_FAULTSUPPORT_H_
#define ZELVAN_TESTS_FAULTS_FAULTSUPPORT_H_

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "MerchantTxn.h"

// Seconds since start, for the upper bounds that prove a fault does not
// hang a transaction.
inline double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The card data of MerchantTxn::purchase() as the clean-up leaves them.
inline void expectCardDataMasked(const MerchantTxn& t) {
  EXPECT_EQ(t.field("CARDDATA"), "411111XXXXXX1111");
  EXPECT_EQ(t.field("CVC2"), "****");
  EXPECT_EQ(t.field("CARDEXPIRYDATE"), "****");
}

#endif  // ZELVAN_TESTS_FAULTS_FAULTSUPPORT_H_
