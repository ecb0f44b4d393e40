#include "clientSetup.h"

#include <openssl/crypto.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "BHashTable.h"
#include "bundleFields.h"
#include "debugLog.h"
#include "zelvanclient.h"

namespace {

const char kClientType[] = "ZelvanClient (ANSI)";
const char kClientVersion[] = "1.17";

// Fails the preparation: logs why, then records the failure in the bundle.
bool refuse(txn* t, const char* logLine, const char* error) {
  logDebugMessage(t, logLine);
  storeFailure(t, error);
  return false;
}

}  // namespace

bool initialiseClient(txn* t) {
  if (!clientInited()) {
    logDebugMessage(t, "\t\tiniting the client libraries...");
    if (init_client() == 0) {
      storeFailure(t, "UNABLE TO INITIALISE ZELVAN CLIENT");
      logDebugMessage(t, "Zelvan client initialisation failed.");
      return false;
    }
    logDebugMessage(t, "\t\tclient libraries successfully inited...");
  } else {
    logDebugMessage(t, "\t\tclient libraries already inited...");
  }

  logDebugMessage(t, "\t\tChecking Certificate Path...");
  if (!CheckCert(t)) {
    return refuse(t, "\t\tCertificate Path Not Set, Exiting...",
                  "COULD NOT OPEN CERTIFICATE - INVALID PATH SET");
  }

  // Only the field's presence is checked here; its value is converted when
  // the connection is made.
  logDebugMessage(t, "\t\tChecking Server Port has been set...");
  if (!hasField(t, "SERVERPORT")) {
    return refuse(t, "\t\tServer Port Not Set, Exiting...", "UNABLE TO CONNECT - NO PORT SET");
  }

  // A missing SERVERCOUNT reads as 0 servers.
  logDebugMessage(t, "\t\tChecking Server Address has been set...");
  const char* count = t->bundle->get("SERVERCOUNT");
  if (count == nullptr || atoi(count) <= 0) {
    return refuse(t, "\t\tServer List Not Set, Exiting...", "UNABLE TO CONNECT - NO SERVER SET");
  }

  // An application that names its own client type gets no version added.
  if (!hasField(t, "ZELVANCLIENTTYPE")) {
    t->bundle->put("ZELVANCLIENTTYPE", kClientType);
    t->bundle->put("ZELVANCLIENTVERSION", kClientVersion);
  }
  t->bundle->put("_OPENSSL_VERSION", OpenSSL_version(OPENSSL_VERSION));
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

int getTranId() { return rand(); }

int printErrorLabel(int code) { return printf("Error code: [%d]\n", code); }

int closeTheSocket(int fd) { return close(fd); }
