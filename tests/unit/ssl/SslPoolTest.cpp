#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "BHashTable.h"
#include "BSSLContext.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "sslPool.h"

namespace {

const TestCertificates& certs() { return TestCertificates::shared(); }

// Gives each test an empty pool: the library's own table when it has one
// (emptied afterwards), else one made and deleted here.
class SslPoolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_ownTable = m_ssl_contexts == nullptr;
    if (m_ownTable) m_ssl_contexts = new BHashTable();
    m_ssl_contexts->clear();
  }
  void TearDown() override {
    m_ssl_contexts->clear();
    if (m_ownTable) {
      delete m_ssl_contexts;
      m_ssl_contexts = nullptr;
    }
  }

  BSSLContext* take(const char* password) {
    return static_cast<BSSLContext*>(get_ssl(m_path.c_str(), password, ""));
  }

  SessionStoreGuard m_store{certs()};
  std::string m_path = certs().clientPem();
  bool m_ownTable = false;
};

}  // namespace

TEST_F(SslPoolTest, HandsOutIdleContextsOfTheSameCredentials) {
  EXPECT_EQ(get_ssl_object_count(), 0);
  BSSLContext* first = take("secret");
  BSSLContext* second = take("secret");
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second) << "the first is still in use";

  first->setInUse(0);
  EXPECT_EQ(take("secret"), first);
  second->setInUse(0);
  EXPECT_EQ(take("secret"), second);

  BSSLContext* otherPassword = take("other");
  EXPECT_NE(otherPassword, first);
  EXPECT_NE(otherPassword, second);
  EXPECT_EQ(m_ssl_contexts->size(), 2);
  EXPECT_EQ(get_ssl_object_count(), 3);
  EXPECT_EQ(m_ssl_locks, 0);

  // With both idle, a thread gets back the context it took last, and a
  // thread that took none of them the first idle one.
  BSSLContext* last = take("secret");
  first->setInUse(0);
  last->setInUse(0);
  EXPECT_EQ(take("secret"), last);
  last->setInUse(0);
  BSSLContext* elsewhere = nullptr;
  std::thread([&] { elsewhere = take("secret"); }).join();
  EXPECT_EQ(elsewhere, first);
}
