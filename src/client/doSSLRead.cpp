#include "doSSLRead.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <ctime>
#include <new>

#include "BSSLContext.h"
#include "BSocket.h"
#include "BString.h"
#include "debugLog.h"
#include "memTrack.h"

namespace {

constexpr int kReadBufferSize = 1024;
constexpr int kMaxAttempts = 5000;
constexpr int kWaitMs = 5000;
constexpr int kDefaultTimeoutSeconds = 30;
constexpr const char* kEndMarker = "\r\nEND\r\n\r\n";

void logBreak(int elapsed, int timeoutSeconds, int sslError, int ret) {
  logDebugMessage("\t\tBreaking out of read loop.");
  logDebugPrintf("\t\t\twaittime is is [%d], timeout value is [%d], SSL Error Code is [%d], ret is [%d]",
          elapsed, timeoutSeconds, sslError, ret);
}

}  // namespace

BString* doSSLRead(BSSLContext* ctx, BSocket* socket, int timeoutSeconds) {
  logDebugMessage("\t\tdoing SSL Read");
  logDebugPrintf("\t\tSSLRead timeout set to [%d] seconds", timeoutSeconds);

  // Without a connection there is nothing to read from.
  SSL* ssl = ctx ? ctx->getSSLObject() : nullptr;
  if (ssl == nullptr || socket == nullptr) {
    logDebugMessage("\t\tUnable to read result. Aborting.");
    return nullptr;
  }

  BString* result = trackNew(new BString(kReadBufferSize), "ssl read result");
  char* buffer = new (std::nothrow) char[kReadBufferSize];
  if (buffer == nullptr) {
    logDebugMessage("\t\tUnable to allocate memory for read buffer.");
    logDebugMessage("\t\tUnable to read result. Aborting.");
    trackDelete(result);
    return nullptr;
  }
  trackNew(buffer, "ssl read buffer");
  logDebugMessage("\t\tMemory allocated for read buffer");

  time_t start = time(nullptr);
  int attempts = 0;
  int ret = 0;
  bool found = false;
  while (attempts < kMaxAttempts) {
    attempts++;
    logDebugPrintf("\t\t\t [%d] Attempt to read response from ZTS.", attempts);
    // Only this read's failure may decide what SSL_get_error reports.
    ERR_clear_error();
    ret = SSL_read(ssl, buffer, kReadBufferSize);
    int elapsed = static_cast<int>(time(nullptr) - start);

    if (ret > 0) {
      result->append(buffer, ret);
      if (result->lastIndexOf(kEndMarker) > 0) {
        logDebugMessage("\t\t\tFound end of message.");
        logDebugPrintf("\t\t\tMessage received in [%d] seconds", elapsed);
        found = true;
        break;
      }
      logDebugMessage("\t\t\tNot yet at end of message");
      continue;
    }

    int sslError = SSL_get_error(ssl, ret);
    if (sslError != SSL_ERROR_WANT_READ || elapsed >= timeoutSeconds) {
      logBreak(elapsed, timeoutSeconds, sslError, ret);
      break;
    }

    if (!socket->waitforData(kWaitMs)) {
      logDebugPrintf("\t\t\tProblem encountered waiting for data: Error Message = [%s]",
              socket->getError());
    } else {
      logDebugMessage("\t\t\t\tWaiting for response from ZTS.");
    }
  }

  if (found) {
    logDebugMessage("\t\tMessage has been found.");
    trackDeleteArray(buffer);
    logDebugMessage("\t\tFinished SSL Read");
    return result;
  }

  logDebugMessage("\t\tMessage not found.");
  if (attempts >= kMaxAttempts) logDebugMessage("\t\tOut of read loops...");
  if (ret < 1) {
    logDebugMessage("\t\tSSL Error");
    logDebugPrintf("\t\t\tsslError found [%d]", SSL_get_error(ssl, ret));
  } else {
    logDebugMessage("\t\tMessage read without ssl error");
  }
  trackDeleteArray(buffer);
  trackDelete(result);
  return nullptr;
}

BString* doSSLRead(BSSLContext* ctx, BSocket* socket) {
  return doSSLRead(ctx, socket, kDefaultTimeoutSeconds);
}
