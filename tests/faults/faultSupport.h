#ifndef ZELVAN_TESTS_FAULTS_FAULTSUPPORT_H_
#define ZELVAN_TESTS_FAULTS_FAULTSUPPORT_H_

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "MerchantTxn.h"
#include "TestCertificates.h"

// Seconds since start, for the upper bounds that prove a fault does not
// hang a transaction.
inline double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A purchase against 127.0.0.1:port that the gateway approves.
inline void expectApproved(const TestCertificates& certs, int port) {
  MerchantTxn t;
  t.settings(certs, port);
  t.purchase();
  EXPECT_EQ(t.execute(), 1) << t.field("ERROR");
  EXPECT_EQ(t.field("RESULT"), "0");
}

// A purchase while nothing listens at port: refused at once, reported,
// and the card data masked all the same.
inline void expectRefused(const TestCertificates& certs, int port) {
  MerchantTxn t;
  t.settings(certs, port);
  t.purchase();
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(t.execute(), 0);
  EXPECT_LT(secondsSince(start), 10);
  EXPECT_EQ(t.field("ERROR"), "UNABLE TO CONNECT - COULD NOT OPEN SOCKET");
  EXPECT_EQ(t.field("RESULT"), "-1");
  EXPECT_EQ(t.field("CARDDATA"), "411111XXXXXX1111");
  EXPECT_EQ(t.field("CVC2"), "****");
}

#endif  // ZELVAN_TESTS_FAULTS_FAULTSUPPORT_H_
