#include "preSendChecks.h"

#include "TransactionRequest.h"
#include "debugLog.h"
#include "sslConnection.h"

EngineStatus validCertificate(BSSLContext* ctx, txn* log) {
  logDebugMessage(log, "\t\tSocket Open, Continuing...");
  switch (checkPeerCertificate(ctx)) {
    case kPeerCertificateMissing:
      return EngineStatus::Failure("UNABLE TO GET SERVER CERTIFICATE", "\t\t Server Certificate problem.");
    case kPeerSubjectUnreadable:
      return EngineStatus::Failure("UNABLE TO IDENTIFY SERVER", "\t\t Unable to identify Server - subject name.");
    case kPeerIssuerUnreadable:
      return EngineStatus::Failure("UNABLE TO IDENTIFY SERVER", "\t\t Unable to identify Server - issuer name.");
    case kPeerCertificateReadable:
      break;
  }
  return EngineStatus::Ok();
}

EngineStatus essentialParametersExist(const TransactionRequest& request) {
  if (!request.hasClientId) {
    return EngineStatus::FailureWithDetail("CLIENTID NOT FOUND",
                                           "Please ensure that the Client Id is passed into the bundle.",
                                           "\t\t No Client Id found in Bundle.");
  }
  if (!request.hasTransactionType) {
    return EngineStatus::FailureWithDetail("TRANSACTIONTYPE NOT FOUND",
                                           "Please ensure that the Transaction Type is passed into the bundle.",
                                           "\t\t The Transaction Type has not been set.");
  }
  return EngineStatus::Ok();
}
