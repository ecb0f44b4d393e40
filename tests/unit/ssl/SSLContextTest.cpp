#include <gtest/gtest.h>

#include <openssl/err.h>

#include <csignal>
#include <cstring>
#include <string>

#include "BSSLContext.h"
#include "BSocket.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TlsTestServer.h"

namespace {

const TestCertificates& certs() { return TestCertificates::shared(); }

class SSLContextTest : public ::testing::Test {
 protected:
  SessionStoreGuard m_store{certs()};
};

std::string loadError(const std::string& path, const std::string& password) {
  BSSLContext ctx(path.c_str(), password.c_str(), "", "client");
  EXPECT_EQ(ctx.getSSLObject(), nullptr) << path;
  std::string first = ctx.getError();
  // A failed load leaves the context ready to try again, with the same result.
  EXPECT_EQ(ctx.getSSLObject(), nullptr) << path;
  EXPECT_EQ(first, ctx.getError()) << path;
  return first;
}

}  // namespace

TEST_F(SSLContextTest, LoadsPemAndPkcs12WhateverTheExtension) {
  const std::string wrong = certs().wrongPassword();
  struct {
    std::string path, password;
  } cases[] = {
      {certs().clientPem(), certs().password()},
      {certs().clientPlainPem(), ""},
      {certs().clientPlainPem(), wrong},  // an unencrypted key needs no password
      {certs().clientP12(), certs().password()},
      {certs().clientPemAsP12(), certs().password()},  // read as PKCS#12 first, then as PEM
  };
  for (auto& c : cases) {
    BSSLContext ctx(c.path.c_str(), c.password.c_str(), "", "client");
    SSL* ssl = ctx.getSSLObject();
    ASSERT_NE(ssl, nullptr) << c.path;
    EXPECT_NE(SSL_get_certificate(ssl), nullptr) << c.path;
    EXPECT_EQ(ctx.getSSLObject(), ssl) << "the connection object is built once";
    EXPECT_STREQ(ctx.getError(), "No error message for error number") << c.path;
  }
}

TEST_F(SSLContextTest, ReportsUnusableCertificatesByCode) {
  const std::string badCert = "ZV_SSL_CTX_BAD_CERT_OR_KEY: The certificate, key or password is corrupt.";
  const std::string wrong = certs().wrongPassword();
  const std::string pw = certs().password();
  struct {
    std::string path, password, error;
  } cases[] = {
      {certs().clientPem(), wrong, badCert},
      {certs().clientP12(), wrong, badCert},
      {certs().clientPemAsP12(), wrong, badCert},
      {certs().dir() + "/missing.pem", pw, badCert},
      {certs().caCert(), pw, badCert},  // a certificate without its key
      {certs().clientNotYetValid(), pw,
       "ZV_SSL_CTX_NOT_BEFORE_DATE_FAIL: This certificate can not be used yet - check valid from date."},
      {certs().clientExpired(), pw,
       "ZV_SSL_CTX_NOT_AFTER_DATE_FAIL: This certificate has expired - check valid to date."},
  };
  for (auto& c : cases) EXPECT_EQ(loadError(c.path, c.password), c.error) << c.path;
}

TEST_F(SSLContextTest, PasswordCallbackCopiesAtMostTheBufferSize) {
  BSSLContext ctx(certs().clientPem().c_str(), "0123456789", "", "client");
  char buffer[8];
  memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(BSSLContext::PasswordCallback(buffer, 4, 0, &ctx), 4);
  EXPECT_EQ(std::string(buffer, 5), "0123x");
  EXPECT_EQ(BSSLContext::PasswordCallback(buffer, sizeof buffer, 0, nullptr), 0);
  EXPECT_STREQ(buffer, "");
  BSSLContext noPassword(certs().clientPem().c_str(), "", "", "client");
  memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(BSSLContext::PasswordCallback(buffer, sizeof buffer, 0, &noPassword), 0);
  EXPECT_STREQ(buffer, "");
}

TEST_F(SSLContextTest, HandshakeVerifiesTheServerOnlyAgainstAGivenCaFile) {
  TlsTestServer server(certs(), nullptr, true);
  struct {
    std::string caFile;
    bool connects;
  } cases[] = {
      {"", true},                      // nothing to verify against: accepted unverified
      {certs().caCert(), true},        // the server's own CA
      {certs().otherCaCert(), false},  // an unrelated CA: the server is refused
  };
  size_t served = 0;
  for (auto& c : cases) {
    BSSLContext ctx(certs().clientPem().c_str(), certs().password().c_str(), c.caFile.c_str(), "client");
    BSocket socket;
    EXPECT_EQ(connectTls(ctx, socket, server.port()), c.connects) << c.caFile;
    if (c.connects) {
      EXPECT_EQ(SSL_version(ctx.getSSLObject()), TLS1_3_VERSION) << "the newest both offer";
    }
    closeTls(ctx, socket);
    auto seen = server.waitForConnections(++served);
    ASSERT_EQ(seen.size(), served);
    EXPECT_EQ(seen.back().handshake, c.connects) << c.caFile;
    EXPECT_EQ(seen.back().clientCertificate, c.connects);
  }
}

TEST_F(SSLContextTest, WritingToAClosedConnectionFailsWithoutSigpipe) {
  TlsTestServer server(certs());  // closes each connection after the handshake
  BSSLContext ctx(certs().clientPem().c_str(), certs().password().c_str(), "", "client");
  BSocket socket;
  ASSERT_TRUE(connectTls(ctx, socket, server.port()));
  server.waitForConnections(1);
  socket.setBlocking();
  // The default action of SIGPIPE ends the process, as in an application
  // that never changed it.
  auto previous = signal(SIGPIPE, SIG_DFL);
  int result = 1;
  for (int i = 0; i < 50 && result > 0; i++) {
    ERR_clear_error();
    result = SSL_write(ctx.getSSLObject(), "RESULT=0\r\n", 10);
    TlsTestServer::pauseMs(10);
  }
  signal(SIGPIPE, previous);
  EXPECT_LE(result, 0);
  closeTls(ctx, socket);
}
