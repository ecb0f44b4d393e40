#include "responseReader.h"

#include <ctime>
#include <new>

#include "BSSLContext.h"
#include "BSocket.h"
#include "BString.h"
#include "debugLog.h"
#include "gatewayMessage.h"
#include "memTrack.h"
#include "policy.h"
#include "sslConnection.h"

namespace {

constexpr int kReadBufferSize = 1024;

void logBreak(int elapsed, int timeoutSeconds, int sslError, int ret) {
  logDebugMessage("\t\tBreaking out of read loop.");
  // Compatibility: "is is" belongs to the line; log scanners match it.
  logDebugPrintf("\t\t\twaittime is is [%d], timeout value is [%d], SSL Error Code is [%d], ret is [%d]",
          elapsed, timeoutSeconds, sslError, ret);
}

}  // namespace

BString* doSSLRead(BSSLContext* ctx, BSocket* socket, int timeoutSeconds) {
  logDebugMessage("\t\tdoing SSL Read");
  logDebugPrintf("\t\tSSLRead timeout set to [%d] seconds", timeoutSeconds);

  // Without a connection there is nothing to read from.
  if (ctx == nullptr || ctx->getSSLObject() == nullptr || socket == nullptr) {
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
  int sslError = 0;
  bool found = false;
  while (attempts < kReadAttempts) {
    attempts++;
    logDebugPrintf("\t\t\t [%d] Attempt to read response from ZTS.", attempts);
    ret = sslRead(ctx, buffer, kReadBufferSize, &sslError);
    int elapsed = static_cast<int>(time(nullptr) - start);

    if (ret > 0) {
      result->append(buffer, ret);
      // Compatibility: a marker at position 0 does not end the message. A
      // reply of nothing but the marker is read until the time-out and
      // ends as "UNABLE TO READ SERVER RESPONSE", the outcome applications
      // handle for an empty answer.
      if (result->lastIndexOf(kEndMarker) > 0) {
        logDebugMessage("\t\t\tFound end of message.");
        logDebugPrintf("\t\t\tMessage received in [%d] seconds", elapsed);
        found = true;
        break;
      }
      logDebugMessage("\t\t\tNot yet at end of message");
      continue;
    }

    if (!sslWaitingForData(sslError) || elapsed >= timeoutSeconds) {
      logBreak(elapsed, timeoutSeconds, sslError, ret);
      break;
    }

    if (!socket->waitforData(kReadWaitMs)) {
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
  if (attempts >= kReadAttempts) logDebugMessage("\t\tOut of read loops...");
  if (ret < 1) {
    logDebugMessage("\t\tSSL Error");
    logDebugPrintf("\t\t\tsslError found [%d]", sslError);
  } else {
    logDebugMessage("\t\tMessage read without ssl error");
  }
  trackDeleteArray(buffer);
  trackDelete(result);
  return nullptr;
}

BString* doSSLRead(BSSLContext* ctx, BSocket* socket) {
  return doSSLRead(ctx, socket, kReadTimeoutSeconds);
}
