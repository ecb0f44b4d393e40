#include <gtest/gtest.h>

#include <vector>

#include "BNetObject.h"

namespace {

const char kNoMessage[] = "No error message for error number";

TEST(BNetObject, EveryCodeHasItsExactTextAndReadingItClearsIt) {
  struct { int code; const char* text; } cases[] = {
    {1, "ZV_BIND_EXCEPTION: An error occurred while attempting to bind a socket to a local address and port."},
    {2, "ZV_CONNECT_EXCEPTION: An error occurred while attempting to connect a socket to a remote address and port."},
    {3, "ZV_MALFORMED_URL_EXCEPTION: A malformed URL has occurred. Either no legal protocol could be found in a speci"
        "fication string or the string could not be parsed."},
    {4, "ZV_NO_ROUTE_TO_HOST_EXCEPTION: An error occurred while attempting to connect a socket to a remote address and port."},
    {5, "ZV_PORT_UNREACHABLE_EXCEPTION: An ICMP Port Unreachable message has been received on a connected datagram."},
    {6, "ZV_PROTOCOL_EXCEPTION: There is an error in the underlying protocol, such as a TCP error."},
    {7, "ZV_SOCKET_EXCEPTION: There is an error in the underlying protocol, such as a TCP error."},
    {8, "ZV_SOCKET_TIMEOUT_EXCEPTION: A timeout has occurred on a socket read or accept. "},
    {9, "ZV_UNKNOWN_HOST_EXCEPTION: The IP address of a host could not be determined"},
    {10, "ZV_UNKNOWN_SERVICE_EXCEPTION: An unknown service exception has occurred. Either the MIME type returned by a URL connection does not make sense, or the application is attempting to write to a read-only URL connection."},
    {11, "ZV_URI_SYNTAX_EXCEPTION: A string could not be parsed as a URI reference"},
    {12, "ZV_COULD_NOT_RESOLVE_NAME: Could not resolve server name."},
    {13, "ZV_TIMEOUT_LENGTH_EXCEPTION: Timeout length is invalid."},
    {14, "ZV_NON_BLOCKING_EXCEPTION: Unable to set socket as Non Blocking."},
    {15, "ZV_BLOCKING_EXCEPTION: Unable to set socket as Blocking."},
    {100, "ZV_SSL_CTX_BAD_CERT_OR_KEY: The certificate, key or password is corrupt."},
    {101, "ZV_SSL_CTX_NOT_BEFORE_DATE_FAIL: This certificate can not be used yet - check valid from date."},
    {102, "ZV_SSL_CTX_NOT_AFTER_DATE_FAIL: This certificate has expired - check valid to date."},
    {103, "ZV_SSL_CTX_FTOK_FAIL: Unable to create shared memory segment using key."},
    {104, "ZV_SSL_CTX_SHMGET_FAIL: Error creating shared memory segment."},
    {0, kNoMessage}, {-1, kNoMessage}, {16, kNoMessage}, {99, kNoMessage}, {105, kNoMessage},
  };
  for (auto& c : cases) {
    BNetObject object;
    object.setError(c.code);
    EXPECT_STREQ(object.getError(), c.text) << c.code;
    EXPECT_STREQ(object.getError(), kNoMessage) << c.code;
  }
}

TEST(BNetObject, ClearingTheCodeGoesThroughSetError) {
  struct Recorder : BNetObject {
    std::vector<int> codes;
    void setError(int code) override { codes.push_back(code); }
  } recorder;
  recorder.getError();
  recorder.resetErrorCode();
  EXPECT_EQ(recorder.codes, (std::vector<int>{0, 0}));
}

TEST(BNetObject, DumpInfoPrintsTheMaskNotTheStoredCode) {
  BNetObject object;
  object.setError(3);
  testing::internal::CaptureStdout();
  object.dumpInfo(5);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~\nerrorMask = [5]\n~~~~~~~~~~~~~~~~~~~~~~~~~~~~~\n");
}

}  // namespace
