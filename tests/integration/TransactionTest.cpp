// The transaction cases that need nothing but a simulator and a request
// are data, in tests/data/cases; this one needs a lock held by the test.
#include <gtest/gtest.h>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "sslPool.h"

TEST(Transaction, BusyPoolGivesNoContextAndTriesNoOtherServer) {
  TestCertificates certs;
  SessionStoreGuard guard(certs);
  GatewaySim sim(certs);
  MerchantTxn session;
  session.settings(certs, sim.port());
  setServers(session.handle(), "127.0.0.1 127.0.0.1");
  session.purchase();
  // Another thread of the process holding the pool for longer than the
  // five seconds a transaction waits for it.
  ASSERT_TRUE(get_ssl_lock());
  EXPECT_EQ(session.execute(), 0);
  release_ssl_lock();
  EXPECT_EQ(session.field("ERROR"), "UNABLE TO INITIALISE SSL.");
  EXPECT_EQ(session.field("ERROR_DETAIL"), "Unable to obtain an ssl context object.");
  EXPECT_EQ(session.field("RESULT"), "-1");
  EXPECT_EQ(zelvanclient_outcome(session.handle()), ZELVAN_OUTCOME_NO_DECISION);
  EXPECT_EQ(session.field("CARDDATA"), "4111111111111111");
  EXPECT_TRUE(sim.waitForStat("connections", 1));
  EXPECT_EQ(sim.stat("connections"), 1);
}
