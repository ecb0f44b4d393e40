#include <cstdio>

#include "BHashTable.h"
#include "BString.h"
#include "BTokeniser.h"
#include "bundleKeys.h"
#include "debugLog.h"
#include "memTrack.h"
#include "txn.h"
#include "zelvanclient.h"

void setServers(txn* t, const char* list) {
  static const char* const kSeparators[] = {",", ";", " "};
  if (t == nullptr) return;
  logDebugMessage(t, "Setting Servers...");
  BTokeniser tokens(list, 3, kSeparators);
  int position = 0;
  for (int i = 0; i < tokens.size(); i++) {
    BString* server = trackNew(new BString(tokens.get(i)), "server name");
    // Two separators in a row (", ") leave an empty token: it takes no
    // number.
    if (server->trim(1, 1) > 0) {
      t->bundle->put(numberedServerKey(position).c_str(), server->buffer());
      logDebugPrintf(t, "\tServer [%s] added to List in position [%i]", server->buffer(), position);
      position++;
    }
    trackDelete(server);
  }
  t->bundle->put(kServerCountKey, std::to_string(position).c_str());
  logDebugMessage(t, "Finished Setting Servers.");
}
