#include "TransactionRequest.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "BHashTable.h"
#include "BString.h"
#include "BVector.h"
#include "bundleFields.h"
#include "bundleKeys.h"
#include "memTrack.h"
#include "policy.h"
#include "requestChecks.h"

namespace {

// The text of a bundle's key or value: "" for a string that never held
// text, null for no string at all.
const char* textOf(BObject* object) {
  if (object == nullptr || !object->instanceOf(BString::staticType())) return nullptr;
  const char* text = static_cast<BString*>(object)->buffer();
  return text != nullptr ? text : "";
}

// The position of a numbered server's name below count ("SERVER7" is 7),
// or -1 for any other name. Only the names setServers() makes count, as
// the exchange looks them up by number.
int serverPosition(const char* name, int count) {
  if (name == nullptr || strncmp(name, kServerKey, sizeof kServerKey - 1) != 0) return -1;
  const char* digits = name + sizeof kServerKey - 1;
  if (*digits < '0' || *digits > '9') return -1;
  long position = strtol(digits, nullptr, 10);
  if (position >= count) return -1;
  return numberedServerKey(static_cast<int>(position)) == name ? static_cast<int>(position) : -1;
}

// One pass over every field: the numbered servers, and the first field
// that would be sent but cannot be carried.
void readFields(BVector* keys, BVector* values, TransactionRequest* request) {
  for (int i = 0; i < keys->size() && i < values->size(); i++) {
    const char* name = textOf(keys->get(i, 0));
    const char* value = textOf(values->get(i, 0));
    int position = serverPosition(name, request->serverCount);
    if (position >= 0) request->servers[position] = value != nullptr ? value : "";
    // The "_" fields stay in the process, so nothing in them can reach the
    // wire.
    if (name == nullptr || name[0] == '_' || !request->unsendable.empty()) continue;
    request->unsendable = sendProblem(name, value);
  }
}

// The settings a request reads, found in one pass over the bundle's fields
// instead of a look-up (and a probe string) per setting and question.
enum Setting {
  kCertificatePath, kCertificatePassword, kCaFile, kVerifyHost, kServerPort, kServerCount, kClientId,
  kTransactionType, kClientType, kTxnReference, kStatusWindow, kTimeout, kProxy, kSettingCount
};

const char* const kSettingNames[kSettingCount] = {
    kCertificatePathKey, kCertificatePasswordKey, kCaFileKey, kVerifyHostKey, kServerPortKey,
    kServerCountKey, kClientIdKey, kTransactionTypeKey, kClientTypeKey, kTxnReferenceKey,
    kStatusWindowKey, kTimeoutKey, kProxyKey};

// Each setting as BHashTable's contains() and get(char*) would answer:
// whether its key is there, and the text of its value (null when absent,
// not a string, or a string that never held text).
struct Settings {
  bool given[kSettingCount] = {};
  const char* value[kSettingCount] = {};

  Settings(BVector* keys, BVector* values) {
    for (int i = 0; i < keys->size() && i < values->size(); i++) {
      BObject* key = keys->get(i, 0);
      if (key == nullptr || !key->instanceOf(BString::staticType())) continue;
      const char* name = static_cast<BString*>(key)->buffer();
      if (name == nullptr) continue;
      for (int s = 0; s < kSettingCount; s++) {
        // Most fields differ from every setting in their first letter.
        if (name[0] != kSettingNames[s][0] || strcmp(name, kSettingNames[s]) != 0) continue;
        given[s] = true;
        BObject* v = values->get(i, 0);
        if (v != nullptr && v->instanceOf(BString::staticType())) value[s] = static_cast<BString*>(v)->buffer();
        break;
      }
    }
  }

  std::string text(Setting s) const { return value[s] != nullptr ? value[s] : ""; }
};

}  // namespace

std::string TransactionRequest::server(int i) const {
  auto found = servers.find(i);
  return found != servers.end() ? found->second : "";
}

TransactionRequest readRequest(const txn* t) {
  BHashTable* bundle = t->bundle;
  BVector* keys = bundle->getKeys();
  BVector* values = bundle->getValues();
  const Settings in(keys, values);
  TransactionRequest r;
  r.certificatePath = in.text(kCertificatePath);
  r.hasCertificatePath = in.value[kCertificatePath] != nullptr;
  r.certificatePassword = in.text(kCertificatePassword);
  r.caFile = in.text(kCaFile);
  r.checkHostName = !sameTextNoCase(in.value[kVerifyHost], "OFF");

  r.hasPort = in.given[kServerPort];
  r.portValid = parsePort(in.value[kServerPort], &r.port);
  const char* count = in.value[kServerCount];
  r.serverCount = count != nullptr ? atoi(count) : 0;

  r.hasClientId = in.given[kClientId];
  r.transactionType = in.text(kTransactionType);
  r.hasTransactionType = in.given[kTransactionType];
  const char* type = in.value[kTransactionType];
  r.statusCheck = sameTextNoCase(type, kStatusType);
  r.purchaseOrRefund = sameTextNoCase(type, kPurchaseType) || sameTextNoCase(type, kRefundType);
  r.hasClientType = in.given[kClientType];
  r.reference = in.text(kTxnReference);
  r.hasReference = in.given[kTxnReference];
  r.statusWindowMs = kStatusWindowMs;
  if (in.given[kStatusWindow] && !parseMilliseconds(in.value[kStatusWindow], &r.statusWindowMs)) {
    r.settingProblem = std::string(kStatusWindowKey) + " must be a whole number of milliseconds.";
  }
  r.hasTimeout = in.given[kTimeout];
  if (r.hasTimeout && (!parseMilliseconds(in.value[kTimeout], &r.timeoutMs) || r.timeoutMs == 0)) {
    r.settingProblem = std::string(kTimeoutKey) + " must be a whole number of milliseconds, at least 1.";
  }
  r.hasProxy = in.given[kProxy];
  std::string proxyProblem;
  if (r.hasProxy && !ProxySetting::parse(in.text(kProxy), &r.proxy, &proxyProblem)) {
    r.settingProblem = std::string(kProxyKey) + " cannot be used: " + proxyProblem;
  }
  readFields(keys, values, &r);
  trackDelete(keys);
  trackDelete(values);
  return r;
}
