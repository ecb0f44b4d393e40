#include <gtest/gtest.h>

#include <fstream>
#include <functional>
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
  EXPECT_EQ(status.keepsCardData(), !status.ok()) << "no failure here masks card data";
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

TEST_F(InitialiseClient, EachMissingSettingFailsWithItsError) {
  const char* kNoCert = "COULD NOT OPEN CERTIFICATE - INVALID PATH SET";
  const char* kNoServer = "UNABLE TO CONNECT - NO SERVER SET";
  std::string missing = dir_.file("missing.p12");
  struct {
    std::function<void(txn*)> spoil;
    const char* error;
  } cases[] = {
      {[](txn* t) { t->bundle->remove("_CERTIFICATEPATH"); }, kNoCert},
      {[&](txn* t) { put_CertificatePath(t, missing.c_str()); }, kNoCert},
      {[&](txn* t) { put_CertificatePath(t, dir_.path().c_str()); }, kNoCert},
      {[](txn* t) { flushBundle(t); }, kNoCert},
      {[](txn* t) { t->bundle->remove("SERVERPORT"); }, "UNABLE TO CONNECT - NO PORT SET"},
      {[](txn* t) { t->bundle->remove("SERVERCOUNT"); }, kNoServer},
      {[](txn* t) { setServers(t, " ,; "); }, kNoServer},
      {[](txn* t) { put(t, "SERVERCOUNT", "two"); }, kNoServer},
  };
  for (auto& c : cases) {
    Handle t;
    configure(t);
    c.spoil(t);
    EXPECT_FALSE(prepare(t)) << c.error;
    EXPECT_STREQ(get(t, "ERROR"), c.error);
    EXPECT_STREQ(get(t, "RESULT"), "-1");
    EXPECT_EQ(get(t, "ZELVANCLIENTTYPE"), nullptr);
  }
}

TEST_F(InitialiseClient, AddsClientTypeOnlyWhenAbsentAndTheOpenSSLVersionEveryTime) {
  Handle t;
  configure(t);
  ASSERT_TRUE(prepare(t));
  EXPECT_EQ(get(t, "ERROR"), nullptr);
  EXPECT_STREQ(get(t, "ZELVANCLIENTTYPE"), "ZelvanClient (ANSI)");
  EXPECT_STREQ(get(t, "ZELVANCLIENTVERSION"), "1.17");
  EXPECT_EQ(std::string(get(t, "_OPENSSL_VERSION")).rfind("OpenSSL 3", 0), 0u);

  t->bundle->remove("ZELVANCLIENTVERSION");
  t->bundle->remove("_OPENSSL_VERSION");
  ASSERT_TRUE(prepare(t));
  EXPECT_EQ(get(t, "ZELVANCLIENTVERSION"), nullptr);
  EXPECT_NE(get(t, "_OPENSSL_VERSION"), nullptr);
}

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
