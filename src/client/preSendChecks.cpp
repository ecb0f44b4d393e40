#include "preSendChecks.h"

#include "bundleFields.h"
#include "clientFailure.h"
#include "debugLog.h"
#include "sslConnection.h"

bool validCertificate(txn* t, BSSLContext* ctx) {
  logDebugMessage(t, "\t\tSocket Open, Continuing...");
  switch (checkPeerCertificate(ctx)) {
    case kPeerCertificateMissing:
      return failTransaction(t, "\t\t Server Certificate problem.", "UNABLE TO GET SERVER CERTIFICATE");
    case kPeerSubjectUnreadable:
      return failTransaction(t, "\t\t Unable to identify Server - subject name.", "UNABLE TO IDENTIFY SERVER");
    case kPeerIssuerUnreadable:
      return failTransaction(t, "\t\t Unable to identify Server - issuer name.", "UNABLE TO IDENTIFY SERVER");
    case kPeerCertificateReadable:
      break;
  }
  return true;
}

bool essentialParametersExist(txn* t) {
  if (!hasField(t, "CLIENTID")) {
    return failTransaction(t, "\t\t No Client Id found in Bundle.", "CLIENTID NOT FOUND",
                           "Please ensure that the Client Id is passed into the bundle.");
  }
  if (!hasField(t, "TRANSACTIONTYPE")) {
    return failTransaction(t, "\t\t The Transaction Type has not been set.", "TRANSACTIONTYPE NOT FOUND",
                           "Please ensure that the Transaction Type is passed into the bundle.");
  }
  return true;
}
