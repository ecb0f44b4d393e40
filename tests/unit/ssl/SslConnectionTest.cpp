#include <gtest/gtest.h>

#include <openssl/ssl.h>

#include <string>

#include "BSSLContext.h"
#include "BSocket.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TlsTestServer.h"
#include "policy.h"
#include "sslConnection.h"

// Under TLS 1.3 the client's handshake completes before the gateway has
// checked the client certificate. When the gateway has already hung up,
// the client's first write fails with the refusal still unread; it is
// found all the same. (A refusal that reaches the first read is the
// end-to-end RefusedHandshakeCannotNegotiate.)
TEST(SslConnection, RefusalAfterTheHandshakeIsFoundByAFailedWrite) {
  const TestCertificates& certs = TestCertificates::shared();
  SessionStoreGuard store(certs);
  TlsTestServer gateway(certs, nullptr, true);
  BSSLContext ctx(certs.otherClientPem().c_str(), "", "");
  BSocket socket;
  ctx.setInUse(1);
  ASSERT_NE(ctx.getSSLObject(), nullptr);
  ASSERT_TRUE(socket.connect("127.0.0.1", gateway.port(), 5000));
  socket.setNonBlocking();
  EXPECT_FALSE(sslAttach(&ctx, socket.getSocket(), "gateway", true)) << "no session stored for this certificate";
  std::string detail;
  ASSERT_EQ(sslHandshake(&ctx, socket.getSocket(), "gateway", 5000, &detail), kSslHandshakeCompleted) << detail;
  ASSERT_EQ(SSL_version(ctx.getSSLObject()), TLS1_3_VERSION);
  EXPECT_FALSE(gateway.waitForConnections(1).back().handshake);

  // The first write after the gateway closed may still be taken by the
  // kernel; the reset it draws fails a later one.
  int result = 1;
  for (int i = 0; i < 100 && result > 0; i++) {
    result = sslWrite(&ctx, "x", 1);
    if (result > 0) TlsTestServer::pauseMs(10);
  }
  ASSERT_LE(result, 0);
  detail.clear();
  EXPECT_TRUE(sslRefusedAfterHandshake(&ctx, &detail));
  EXPECT_NE(detail.find("alert"), std::string::npos) << detail;
  closeTls(ctx, socket);
}

// A gateway that hands out session IDs but never resumes them is offered
// the stored session only until it has refused a few in a row.
TEST(SslConnection, AGatewayThatNeverResumesStopsBeingOfferedSessions) {
  const TestCertificates& certs = TestCertificates::shared();
  SessionStoreGuard store(certs);
  TlsTestServer gateway(certs, nullptr, false, [](SSL_CTX* server) {
    SSL_CTX_set_options(server, SSL_OP_NO_TICKET);
    SSL_CTX_set_max_proto_version(server, TLS1_2_VERSION);
    SSL_CTX_set_session_cache_mode(server, SSL_SESS_CACHE_SERVER | SSL_SESS_CACHE_NO_INTERNAL_LOOKUP);
  });
  BSSLContext ctx(certs.otherClientPem().c_str(), "", "");
  ctx.setInUse(1);
  ASSERT_NE(ctx.getSSLObject(), nullptr);
  int offers = 0;
  for (int i = 0; i < 8; i++) {
    BSocket socket;
    ASSERT_TRUE(socket.connect("127.0.0.1", gateway.port(), 5000));
    socket.setNonBlocking();
    if (sslAttach(&ctx, socket.getSocket(), "gateway", true)) offers++;
    std::string detail;
    ASSERT_EQ(sslHandshake(&ctx, socket.getSocket(), "gateway", 5000, &detail), kSslHandshakeCompleted) << detail;
    EXPECT_FALSE(SSL_session_reused(ctx.getSSLObject()));
    closeTls(ctx, socket);
    ctx.setInUse(1);
  }
  EXPECT_EQ(offers, kResumptionRefusalsBeforePause) << "offered until refused that many times in a row";
}
