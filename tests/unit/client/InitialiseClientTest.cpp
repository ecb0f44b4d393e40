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

// The library initialises itself as it loads. Freeing twice is harmless; a
// transaction's preparation initialises the library again, and a further
// init keeps the pool it made.
TEST(InitialiseClient, InitialisesAFreedLibraryAgain) {
  ASSERT_TRUE(m_client_inited && m_ssl_contexts != nullptr);
  TempDir dir;
  std::string cert = dir.file("client.p12");
  std::ofstream(cert) << "certificate";
  Handle t;
  put_CertificatePath(t, cert.c_str());
  setPort(t, "8443");
  setServers(t, "127.0.0.1");
  EXPECT_EQ(free_client(), 1);
  EXPECT_EQ(free_client(), 1);
  EXPECT_EQ(m_ssl_contexts, nullptr);
  TransactionRecord record(t);
  ASSERT_TRUE(initialiseClient(readRequest(t), record).ok());
  BHashTable* pool = m_ssl_contexts;
  EXPECT_TRUE(m_client_inited && pool != nullptr);
  EXPECT_EQ(init_client(), 1);
  EXPECT_EQ(m_ssl_contexts, pool);
}
