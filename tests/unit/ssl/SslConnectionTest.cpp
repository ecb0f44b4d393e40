#include <gtest/gtest.h>

#include <openssl/ssl.h>

#include <string>

#include "BSSLContext.h"
#include "BSocket.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TlsTestServer.h"
#include "sslConnection.h"

// Under TLS 1.3 the client's handshake completes before the gateway has
// checked the client certificate; the gateway's refusal then reaches the
// client's first read, or, when the gateway has already hung up, makes its
// first write fail with the alert still unread. Both are found.
TEST(SslConnection, RefusalAfterTheHandshakeIsFoundByReadsAndWrites) {
  const TestCertificates& certs = TestCertificates::shared();
  SessionStoreGuard store(certs);
  TlsTestServer gateway(certs, nullptr, true);
  size_t served = 0;
  for (bool writeFirst : {false, true}) {
    SCOPED_TRACE(writeFirst ? "write" : "read");
    BSSLContext ctx(certs.otherClientPem().c_str(), "", "", "client");
    BSocket socket;
    ctx.setInUse(1);
    ASSERT_NE(ctx.getSSLObject(), nullptr);
    ASSERT_TRUE(socket.connect("127.0.0.1", gateway.port(), 5000));
    EXPECT_FALSE(sslAttach(&ctx, socket.getSocket(), true)) << "no session stored for this certificate";
    std::string detail;
    ASSERT_EQ(sslHandshake(&ctx, socket.getSocket(), 5000, &detail), kSslHandshakeCompleted) << detail;
    ASSERT_EQ(SSL_version(ctx.getSSLObject()), TLS1_3_VERSION);
    EXPECT_FALSE(gateway.waitForConnections(++served).back().handshake);

    if (writeFirst) {
      // The first write after the gateway closed may still be taken by
      // the kernel; the reset it draws fails a later one.
      int result = 1;
      for (int i = 0; i < 100 && result > 0; i++) {
        result = sslWrite(&ctx, "x", 1);
        if (result > 0) TlsTestServer::pauseMs(10);
      }
      ASSERT_LE(result, 0);
    } else {
      socket.setBlocking();
      char buffer[16];
      ASSERT_LE(SSL_read(ctx.getSSLObject(), buffer, sizeof buffer), 0);
      socket.setNonBlocking();
    }
    detail.clear();
    EXPECT_TRUE(sslRefusedAfterHandshake(&ctx, &detail));
    EXPECT_NE(detail.find("alert"), std::string::npos) << detail;
    closeTls(ctx, socket);
  }
}
