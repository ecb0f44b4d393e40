#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"

// A CA file that cannot be loaded (missing, or holding no certificate)
// fails the handshake instead of leaving the gateway unverified or failing
// with a verification error that hides the cause. The detail names the
// file by its path and never repeats what is in it.
TEST(CaFile, AnUnloadableCaFileFailsTheHandshakeNamingTheFile) {
  const TestCertificates& certs = TestCertificates::shared();
  SessionStoreGuard store(certs);
  GatewaySim gateway(certs);
  const std::string missing = certs.dir() + "/no-such-ca.pem";
  const std::string notACertificate = certs.dir() + "/not-a-ca.pem";
  std::ofstream(notACertificate) << "TOP-SECRET-NOT-A-CERTIFICATE\n";
  for (const std::string& caFile : {missing, notACertificate}) {
    MerchantTxn t;
    t.settings(certs, gateway.port());
    put(t.handle(), "_CAFILE", caFile.c_str());
    t.purchase();
    t.execute();
    EXPECT_EQ(t.field("ERROR"), "UNABLE TO CONNECT - COULD NOT NEGOTIATE SSL");
    EXPECT_EQ(t.field("RESULT"), "-1");
    const std::string detail = t.field("ERROR_DETAIL");
    EXPECT_NE(detail.find(caFile), std::string::npos) << detail;
    EXPECT_NE(detail.find("could not be loaded"), std::string::npos) << detail;
    EXPECT_EQ(detail.find("TOP-SECRET"), std::string::npos) << detail;
  }
  EXPECT_EQ(gateway.stat("handshakes_full") + gateway.stat("handshakes_resumed"), 0) << "no handshake is attempted without trust anchors";
}
