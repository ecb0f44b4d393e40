#include "responseReader.h"

#include <poll.h>

#include <cstring>
#include <ctime>
#include <string>
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

void logBreak(txn* log, int elapsed, int timeoutSeconds, int sslError, int ret) {
  logForTransaction(log, "\t\tBreaking out of read loop.");
  // Compatibility: "is is" belongs to the line; log scanners match it.
  logForTransactionPrintf(log, "\t\t\twaittime is is [%d], timeout value is [%d], SSL Error Code is [%d], ret is [%d]",
          elapsed, timeoutSeconds, sslError, ret);
}

// Whether the piece just read holds a NUL byte that comes before the end
// marker: the message read so far (which holds none) and the piece up to
// its first NUL do not yet hold the marker.
bool nulBeforeEndMarker(BString* soFar, const char* piece, int length) {
  const void* nul = memchr(piece, '\0', length);
  if (nul == nullptr) return false;
  std::string head;
  int kept = soFar->length() < kEndMarkerLength ? soFar->length() : kEndMarkerLength;
  if (kept > 0) head.assign(soFar->buffer() + soFar->length() - kept, kept);
  head.append(piece, static_cast<const char*>(nul) - piece);
  return head.find(kEndMarker) == std::string::npos;
}

}  // namespace

BString* doSSLRead(BSSLContext* ctx, BSocket* socket, int timeoutSeconds, txn* log, const Deadline& deadline) {
  logForTransaction(log, "\t\tdoing SSL Read");
  logForTransactionPrintf(log, "\t\tSSLRead timeout set to [%d] seconds", timeoutSeconds);

  // Without a connection there is nothing to read from.
  if (ctx == nullptr || ctx->getSSLObject() == nullptr || socket == nullptr) {
    logForTransaction(log, "\t\tUnable to read result. Aborting.");
    return nullptr;
  }

  BString* result = trackNew(new BString(kReadBufferSize), "ssl read result");
  char* buffer = new (std::nothrow) char[kReadBufferSize];
  if (buffer == nullptr) {
    logForTransaction(log, "\t\tUnable to allocate memory for read buffer.");
    logForTransaction(log, "\t\tUnable to read result. Aborting.");
    trackDelete(result);
    return nullptr;
  }
  trackNew(buffer, "ssl read buffer");
  logForTransaction(log, "\t\tMemory allocated for read buffer");

  time_t start = time(nullptr);
  int attempts = 0;
  int ret = 0;
  int sslError = 0;
  bool found = false;
  while (attempts < kReadAttempts) {
    attempts++;
    logForTransactionPrintf(log, "\t\t\t [%d] Attempt to read response from ZTS.", attempts);
    ret = sslRead(ctx, buffer, kReadBufferSize, &sslError);
    int elapsed = static_cast<int>(time(nullptr) - start);

    if (ret > 0) {
      // No gateway message holds a NUL byte: such a reply is refused at
      // once, not read on until the time-out (nor cut short at the NUL).
      if (nulBeforeEndMarker(result, buffer, ret)) {
        logForTransaction(log, "\t\t\tThe reply holds a NUL byte before its end marker: refused.");
        break;
      }
      result->append(buffer, ret);
      // Compatibility: a marker at position 0 does not end the message. A
      // reply of nothing but the marker is read until the time-out and
      // ends as "UNABLE TO READ SERVER RESPONSE", the outcome applications
      // handle for an empty answer.
      if (result->lastIndexOf(kEndMarker) > 0) {
        logForTransaction(log, "\t\t\tFound end of message.");
        logForTransactionPrintf(log, "\t\t\tMessage received in [%d] seconds", elapsed);
        found = true;
        break;
      }
      logForTransaction(log, "\t\t\tNot yet at end of message");
      continue;
    }

    if (!sslWaitingForData(sslError) || elapsed >= timeoutSeconds || deadline.expired()) {
      if (deadline.expired()) logForTransaction(log, "\t\tThe payment's time bound ran out.");
      logBreak(log, elapsed, timeoutSeconds, sslError, ret);
      break;
    }

    int waitMs = deadline.clamp(kReadWaitMs);
    if (waitMs < kShortestSocketWaitMs) {
      // The socket refuses so short a wait: the last moments before the
      // payment's bound are waited for here.
      pollfd entry{socket->getSocket(), POLLIN, 0};
      poll(&entry, 1, waitMs);
      continue;
    }
    if (!socket->waitforData(waitMs)) {
      logForTransactionPrintf(log, "\t\t\tProblem encountered waiting for data: Error Message = [%s]",
              socket->getError());
    } else {
      logForTransaction(log, "\t\t\t\tWaiting for response from ZTS.");
    }
  }

  if (found) {
    logForTransaction(log, "\t\tMessage has been found.");
    trackDeleteArray(buffer);
    logForTransaction(log, "\t\tFinished SSL Read");
    return result;
  }

  logForTransaction(log, "\t\tMessage not found.");
  if (attempts >= kReadAttempts) logForTransaction(log, "\t\tOut of read loops...");
  if (ret < 1) {
    logForTransaction(log, "\t\tSSL Error");
    logForTransactionPrintf(log, "\t\t\tsslError found [%d]", sslError);
  } else {
    logForTransaction(log, "\t\tMessage read without ssl error");
  }
  trackDeleteArray(buffer);
  trackDelete(result);
  return nullptr;
}
