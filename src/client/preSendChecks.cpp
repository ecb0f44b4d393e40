#include "preSendChecks.h"

#include "BHashTable.h"
#include "BSSLContext.h"
#include "BSocket.h"
#include "BString.h"
#include "bundleFields.h"
#include "cardData.h"
#include "clientSetup.h"
#include "debugLog.h"
#include "memTrack.h"
#include "sslConnection.h"
#include "sslPool.h"

namespace {

// Fails a check: logs logLine and stores ERROR and RESULT "-1".
bool reportFailure(txn* t, const char* logLine, const char* error) {
  logDebugMessage(t, logLine);
  storeFailure(t, error);
  return false;
}

// Fails the check for one missing field, with a sentence saying what to do.
bool reportMissing(txn* t, const char* logLine, const char* error, const char* detail) {
  t->bundle->put("ERROR_DETAIL", detail);
  return reportFailure(t, logLine, error);
}

}  // namespace

bool validCertificate(txn* t, BSSLContext* ctx) {
  logDebugMessage(t, "\t\tSocket Open, Continuing...");
  switch (checkPeerCertificate(ctx)) {
    case kPeerCertificateMissing:
      return reportFailure(t, "\t\t Server Certificate problem.", "UNABLE TO GET SERVER CERTIFICATE");
    case kPeerSubjectUnreadable:
      return reportFailure(t, "\t\t Unable to identify Server - subject name.", "UNABLE TO IDENTIFY SERVER");
    case kPeerIssuerUnreadable:
      return reportFailure(t, "\t\t Unable to identify Server - issuer name.", "UNABLE TO IDENTIFY SERVER");
    case kPeerCertificateReadable:
      break;
  }
  return true;
}

bool essentialParametersExist(txn* t) {
  if (!hasField(t, "CLIENTID")) {
    return reportMissing(t, "\t\t No Client Id found in Bundle.", "CLIENTID NOT FOUND",
                         "Please ensure that the Client Id is passed into the bundle.");
  }
  if (!hasField(t, "TRANSACTIONTYPE")) {
    return reportMissing(t, "\t\t The Transaction Type has not been set.",
                         "TRANSACTIONTYPE NOT FOUND",
                         "Please ensure that the Transaction Type is passed into the bundle.");
  }
  return true;
}

void cleanUpAfterDoTransaction(txn* t, BSSLContext* ctx, int fd, BSocket* socket) {
  if (ctx != nullptr) {
    if (t != nullptr) logDebugMessage(t, "\t\tClosing Context...");
    ctx->ShutdownSSL();
  }
  if (fd != -1) {
    if (t != nullptr) logDebugMessage(t, "\t\tClosing Socket...");
    // Closed through the socket object when it owns the descriptor, so that
    // its destructor does not close the same number again (by then it may
    // belong to another connection of the process).
    if (socket != nullptr && socket->getSocket() == fd) {
      socket->close();
    } else {
      closeTheSocket(fd);
    }
  }
  trackDelete(socket);
  // Handed back last, with its socket closed, so that the next holder
  // finds nothing of this connection left in it.
  release_ssl(ctx);
  if (t != nullptr) {
    clearPCISensitiveData(t, "CVC2");
    clearPCISensitiveData(t, "CARDEXPIRYDATE");
    clearPCISensitiveData(t, "CARDDATA");
  }
}

void cleanUpAfterDoTransaction(txn* t, BSSLContext* ctx, int fd, BSocket* socket, BString* response) {
  trackDelete(response);
  cleanUpAfterDoTransaction(t, ctx, fd, socket);
}
