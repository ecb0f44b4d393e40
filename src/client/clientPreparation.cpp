#include "clientPreparation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>


#include "TransactionRecord.h"
#include "TransactionRequest.h"
#include "debugLog.h"
#include "zelvanclient.h"

namespace {

// Preparation failures happen before any connection: the card data stay
// for the application to run the request again once it is mended.
EngineStatus refuse(const char* logLine, const char* error) {
  return EngineStatus::Failure(error, logLine, EngineStatus::kKeepCardDataForRetry);
}

}  // namespace

EngineStatus initialiseClient(const TransactionRequest& request, TransactionRecord& record) {
  txn* log = record.log();
  if (!clientInited()) {
    logDebugMessage(log, "\t\tiniting the client libraries...");
    if (init_client() == 0) {
      return refuse("Zelvan client initialisation failed.", "UNABLE TO INITIALISE ZELVAN CLIENT");
    }
    logDebugMessage(log, "\t\tclient libraries successfully inited...");
  } else {
    logDebugMessage(log, "\t\tclient libraries already inited...");
  }

  logDebugMessage(log, "\t\tChecking Certificate Path...");
  if (!CheckCert(request, log)) {
    return refuse("\t\tCertificate Path Not Set, Exiting...", "COULD NOT OPEN CERTIFICATE - INVALID PATH SET");
  }

  // Only the field's presence is checked here; its value is checked next
  // (checkServerPort()).
  logDebugMessage(log, "\t\tChecking Server Port has been set...");
  if (!request.hasPort) return refuse("\t\tServer Port Not Set, Exiting...", "UNABLE TO CONNECT - NO PORT SET");

  // A missing SERVERCOUNT reads as 0 servers.
  logDebugMessage(log, "\t\tChecking Server Address has been set...");
  if (request.serverCount <= 0) {
    return refuse("\t\tServer List Not Set, Exiting...", "UNABLE TO CONNECT - NO SERVER SET");
  }

  record.addClientIdentity(!request.hasClientType);
  return EngineStatus::Ok();
}

bool CheckCert(const TransactionRequest& request, txn* log) {
  // A regular file this process may read: what opening it for reading
  // would find, asked without opening it (a directory would open too).
  const char* path = request.certificatePath.c_str();
  struct stat info;
  bool usable = request.hasCertificatePath && stat(path, &info) == 0 && S_ISREG(info.st_mode) &&
                faccessat(AT_FDCWD, path, R_OK, AT_EACCESS) == 0;
  logDebugMessage(log, usable ? "\t\t\tCertificate Path OK..." : "\t\t\tCertificate Path Invalid...");
  return usable;
}
