#ifndef ZELVAN_TESTS_ENGINETESTSUPPORT_H_
#define ZELVAN_TESTS_ENGINETESTSUPPORT_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "testText.h"

// A test with certificates and a session store of its own, a simulator
// started on demand and one purchase set up for it, logging to a file.
class EngineTest : public testing::Test {
 protected:
  GatewaySim& gateway(const std::vector<std::string>& args = {}) {
    sim_ = std::make_unique<GatewaySim>(certs_, args);
    return *sim_;
  }
  // The purchase, set up for the simulator (or for port), logging.
  MerchantTxn& purchase(int port = 0) {
    txn_.logTo(logPath());
    txn_.settings(certs_, port != 0 ? port : sim_->port());
    txn_.purchase();
    return txn_;
  }
  std::string logPath() const { return certs_.dir() + "/debug.log"; }
  std::string logText() const { return readFile(logPath()); }
  int outcome() const { return zelvanclient_outcome(txn_.handle()); }
  int logCount(const std::string& text) const { return static_cast<int>(countOf(logText(), text)); }

  TestCertificates certs_;
  SessionStoreGuard guard_{certs_};
  std::unique_ptr<GatewaySim> sim_;
  MerchantTxn txn_;
};

#endif  // ZELVAN_TESTS_ENGINETESTSUPPORT_H_
