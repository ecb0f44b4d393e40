#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "BSSLContext.h"
#include "BSocket.h"
#include "BString.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TlsTestServer.h"
#include "clientTestSupport.h"
#include "debugLog.h"
#include "gatewayMessage.h"
#include "responseReader.h"
#include "testText.h"

namespace {

const TestCertificates& certs() { return TestCertificates::shared(); }

void expectOnce(const std::string& log, std::initializer_list<const char*> lines) {
  for (const char* line : lines) EXPECT_EQ(countOf(log, std::string(line) + "\r\n"), 1u) << line;
}

// Connects a client to a server that plays script, and reads one reply
// with the transaction-less debug log going to a file of its own.
class ResponseReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    snprintf(theDebugFileName, sizeof theDebugFileName, "%s", m_dir.file("debug.log").c_str());
    isDebugOn = 1;
    isDebugToStdOut = 0;
  }
  void TearDown() override { isDebugOn = 0; }

  // Returns the reply text, or "(null)" when none was read.
  std::string readReply(TlsTestServer::Script script, int timeoutSeconds) {
    TlsTestServer server(certs(), std::move(script));
    BSSLContext ctx(certs().clientPem().c_str(), certs().password().c_str(), "");
    BSocket socket;
    EXPECT_TRUE(connectTls(ctx, socket, server.port()));
    BString* reply = doSSLRead(&ctx, &socket, timeoutSeconds);
    closeTls(ctx, socket);
    return takeText(reply);
  }

  std::string log() { return readFile(theDebugFileName); }

  SessionStoreGuard m_store{certs()};
  TempDir m_dir;
};

}  // namespace

TEST_F(ResponseReaderTest, AssemblesAReplySplitOverRecords) {
  std::vector<std::string> pieces = {"RESULT=0\r\nAUTH", "CODE=123\r\nEN", "D\r\n\r", "\nafter"};
  std::string reply = readReply(
      [&](SSL* ssl) {
        for (auto& piece : pieces) {
          TlsTestServer::send(ssl, piece);
          TlsTestServer::pauseMs(50);
        }
        TlsTestServer::drain(ssl);
      },
      30);
  // Bytes that came with the end marker stay in the reply.
  EXPECT_EQ(reply, "RESULT=0\r\nAUTHCODE=123" + std::string(kEndMarker) + "after");

  std::string text = log();
  expectOnce(text, {"\t\tdoing SSL Read", "\t\tSSLRead timeout set to [30] seconds",
                    "\t\tMemory allocated for read buffer", "\t\t\tFound end of message.",
                    "\t\tMessage has been found.", "\t\tFinished SSL Read"});
  EXPECT_GE(countOf(text, "\t\t\tNot yet at end of message\r\n"), 3u);
  // Every read is numbered, those that returned data included.
  EXPECT_GE(countOf(text, "Attempt to read response from ZTS."), pieces.size());
  EXPECT_EQ(countOf(text, "\t\t\t [4] Attempt to read response from ZTS.\r\n"), 1u);
}

TEST_F(ResponseReaderTest, MarkerAloneIsNotAReplyAndTheReadTimesOut) {
  std::string reply = readReply(
      [](SSL* ssl) {
        TlsTestServer::send(ssl, std::string(kEndMarker));
        TlsTestServer::pauseMs(1500);
        TlsTestServer::send(ssl, "x");
        TlsTestServer::drain(ssl);
      },
      1);
  EXPECT_EQ(reply, "(null)");

  std::string text = log();
  expectOnce(text, {"\t\tBreaking out of read loop.", "\t\tMessage not found.", "\t\tSSL Error",
                    "\t\t\tsslError found [2]"});
  EXPECT_EQ(countOf(text, "\t\t\twaittime is is ["), 1u);
  EXPECT_EQ(countOf(text, "], timeout value is [1], SSL Error Code is [2], ret is [-1]\r\n"), 1u);
  EXPECT_EQ(countOf(text, "Found end of message."), 0u);
  EXPECT_GE(countOf(text, "\t\t\t\tWaiting for response from ZTS.\r\n"), 1u);

  EXPECT_EQ(doSSLRead(nullptr, nullptr, 1), nullptr) << "no connection, nothing read";
}
