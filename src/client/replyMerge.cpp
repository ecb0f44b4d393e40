#include "replyMerge.h"

#include <cctype>
#include <cstring>

#include "BHashTable.h"
#include "BString.h"
#include "BVector.h"
#include "bundleKeys.h"
#include "debugLog.h"
#include "memTrack.h"

namespace {

// "SERVER" and at least one digit: the names setServers() numbers.
bool isNumberedServer(const char* name) {
  if (strncmp(name, kServerKey, sizeof kServerKey - 1) != 0) return false;
  const char* digits = name + sizeof kServerKey - 1;
  if (*digits == '\0') return false;
  for (; *digits != '\0'; digits++) {
    if (!isdigit(static_cast<unsigned char>(*digits))) return false;
  }
  return true;
}

// A new copy of a reply's key or value for the bundle; null stays null.
BString* copyOf(BObject* object, const char* label) {
  if (object == nullptr) return nullptr;
  return trackNew(new BString(static_cast<BString*>(object)->buffer()), label);
}

// Notes what a merged field tells of the gateway's answer. value is null
// for a field merged without one.
void note(GatewayAnswer* answer, const char* name, const char* value) {
  if (answer == nullptr) return;
  if (strcmp(name, kErrorKey) == 0) answer->gaveError = true;
  if (strcmp(name, kResultKey) == 0) {
    answer->gaveResult = value != nullptr;
    answer->approved = value != nullptr && strcmp(value, "0") == 0;
  }
  if (strcmp(name, kTxnReferenceKey) == 0) {
    answer->gaveReference = true;
    answer->reference = value != nullptr ? value : "";
  }
}

}  // namespace

bool isLocalSetting(const char* name) {
  return name[0] == '_' || strcmp(name, kServerCountKey) == 0 || strcmp(name, kServerPortKey) == 0 ||
         isNumberedServer(name);
}

void mergeReply(txn* t, const char* text, GatewayAnswer* answer) {
  // Parsed into a table of its own first, so that the reply's fields are
  // those the bundle would have taken, one by one, before any is dropped.
  BHashTable* reply = trackNew(new BHashTable(), "reply fields");
  reply->addAll(text);
  BVector* keys = reply->getKeys();
  BVector* values = reply->getValues();
  int ignored = 0;
  for (int i = 0; i < keys->size() && i < values->size(); i++) {
    BString* key = static_cast<BString*>(keys->get(i, 0));
    const char* name = key->buffer();
    if (name == nullptr || isLocalSetting(name)) {
      ignored++;
      continue;
    }
    BObject* newKey = copyOf(key, "key object creation in add all");
    BObject* value = values->get(i, 0);
    note(answer, name, value != nullptr ? static_cast<BString*>(value)->buffer() : nullptr);
    t->bundle->put(&newKey, copyOf(value, "value object creation in add all"), 1, 1);
  }
  trackDelete(keys);
  trackDelete(values);
  trackDelete(reply);
  if (ignored > 0) {
    logDebugPrintf(t, "\t\tIgnored %d reply field(s) that only this client may set.", ignored);
  }
}
