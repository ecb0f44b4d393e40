#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "BHashTable.h"
#include "TransactionRecord.h"
#include "TransactionRequest.h"
#include "clientPreparation.h"
#include "clientTestSupport.h"
#include "sslPool.h"
#include "txn.h"

namespace {

// The preparation as an exchange runs it: on the request read from t, with
// a failure recorded in t's bundle. True when it passed.
bool prepare(txn* t) {
  TransactionRecord record(t);
  EngineStatus status = initialiseClient(readRequest(t), record);
  record.record(status);
  return status.ok();
}

class InitialiseClient : public testing::Test {
 protected:
  void SetUp() override { std::ofstream(cert_) << "certificate"; }
  // Gives a handle every setting that the preparation checks.
  void configure(txn* t) {
    put_CertificatePath(t, cert_.c_str());
    setPort(t, "8443");
    setServers(t, "127.0.0.1");
  }
  TempDir dir_;
  std::string cert_ = dir_.file("client.p12");
};

}  // namespace

// The library initialises itself as it loads. Freeing twice is harmless; a
// transaction initialises the library again, and a further init keeps the
// pool it made.
TEST_F(InitialiseClient, InitialisesAFreedLibraryAgain) {
  ASSERT_TRUE(m_client_inited && m_ssl_contexts != nullptr);
  Handle t;
  configure(t);
  EXPECT_EQ(free_client(), 1);
  EXPECT_EQ(free_client(), 1);
  EXPECT_EQ(m_ssl_contexts, nullptr);
  ASSERT_TRUE(prepare(t));
  BHashTable* pool = m_ssl_contexts;
  EXPECT_TRUE(m_client_inited && pool != nullptr);
  EXPECT_EQ(init_client(), 1);
  EXPECT_EQ(m_ssl_contexts, pool);
}
