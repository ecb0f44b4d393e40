#include "clientPreparation.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "BHashTable.h"
#include "bundleFields.h"
#include "clientFailure.h"
#include "debugLog.h"
#include "sslConnection.h"
#include "zelvanclient.h"

namespace {

const char kClientType[] = "ZelvanClient (ANSI)";
// The protocol version the gateway reads, not the package's version.
const char kClientVersion[] = "1.17";

}  // namespace

bool initialiseClient(txn* t) {
  if (!clientInited()) {
    logDebugMessage(t, "\t\tiniting the client libraries...");
    if (init_client() == 0) {
      return failTransaction(t, "Zelvan client initialisation failed.",
                             "UNABLE TO INITIALISE ZELVAN CLIENT");
    }
    logDebugMessage(t, "\t\tclient libraries successfully inited...");
  } else {
    logDebugMessage(t, "\t\tclient libraries already inited...");
  }

  logDebugMessage(t, "\t\tChecking Certificate Path...");
  if (!CheckCert(t)) {
    return failTransaction(t, "\t\tCertificate Path Not Set, Exiting...",
                           "COULD NOT OPEN CERTIFICATE - INVALID PATH SET");
  }

  // Only the field's presence is checked here; its value is checked when
  // the exchange reads the settings.
  logDebugMessage(t, "\t\tChecking Server Port has been set...");
  if (!hasField(t, "SERVERPORT")) {
    return failTransaction(t, "\t\tServer Port Not Set, Exiting...", "UNABLE TO CONNECT - NO PORT SET");
  }

  // A missing SERVERCOUNT reads as 0 servers.
  logDebugMessage(t, "\t\tChecking Server Address has been set...");
  const char* count = t->bundle->get("SERVERCOUNT");
  if (count == nullptr || atoi(count) <= 0) {
    return failTransaction(t, "\t\tServer List Not Set, Exiting...", "UNABLE TO CONNECT - NO SERVER SET");
  }

  // Compatibility: the version belongs to this client's own type. An
  // application that names its own type gets no version added, and the
  // gateway sees exactly the type fields the application chose.
  if (!hasField(t, "ZELVANCLIENTTYPE")) {
    t->bundle->put("ZELVANCLIENTTYPE", kClientType);
    t->bundle->put("ZELVANCLIENTVERSION", kClientVersion);
  }
  t->bundle->put("_OPENSSL_VERSION", sslLibraryVersion());
  return true;
}

bool CheckCert(txn* t) {
  const char* path = t->bundle->get("_CERTIFICATEPATH");
  FILE* file = path != nullptr ? fopen(path, "r") : nullptr;
  // fopen() in mode "r" also opens a directory on Linux, so the open file
  // must in addition be a regular one.
  struct stat info;
  bool usable = file != nullptr && fstat(fileno(file), &info) == 0 && S_ISREG(info.st_mode);
  if (file != nullptr) fclose(file);
  logDebugMessage(t, usable ? "\t\t\tCertificate Path OK..." : "\t\t\tCertificate Path Invalid...");
  return usable;
}
