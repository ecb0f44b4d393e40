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
  char canonical[32];
  snprintf(canonical, sizeof canonical, kNumberedServerFormat, static_cast<int>(position));
  return strcmp(canonical, name) == 0 ? static_cast<int>(position) : -1;
}

// One pass over every field: the numbered servers, and the first field
// that would be sent but cannot be carried.
void readFields(BHashTable* bundle, TransactionRequest* request) {
  BVector* keys = bundle->getKeys();
  BVector* values = bundle->getValues();
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
  trackDelete(keys);
  trackDelete(values);
}

}  // namespace

std::string TransactionRequest::server(int i) const {
  auto found = servers.find(i);
  return found != servers.end() ? found->second : "";
}

TransactionRequest readRequest(const txn* t) {
  BHashTable* bundle = t->bundle;
  auto text = [bundle](const char* key, bool* given) {
    const char* value = bundle->get(key);
    if (given != nullptr) *given = bundle->contains(key);
    return std::string(value != nullptr ? value : "");
  };
  TransactionRequest r;
  r.certificatePath = text(kCertificatePathKey, nullptr);
  r.hasCertificatePath = bundle->get(kCertificatePathKey) != nullptr;
  r.certificatePassword = text(kCertificatePasswordKey, nullptr);
  r.caFile = text(kCaFileKey, nullptr);
  r.checkHostName = !sameTextNoCase(bundle->get(kVerifyHostKey), "OFF");

  r.hasPort = bundle->contains(kServerPortKey);
  r.portValid = parsePort(bundle->get(kServerPortKey), &r.port);
  const char* count = bundle->get(kServerCountKey);
  r.serverCount = count != nullptr ? atoi(count) : 0;

  r.hasClientId = bundle->contains(kClientIdKey);
  r.transactionType = text(kTransactionTypeKey, &r.hasTransactionType);
  const char* type = bundle->get(kTransactionTypeKey);
  r.statusCheck = sameTextNoCase(type, kStatusType);
  r.purchaseOrRefund = sameTextNoCase(type, kPurchaseType) || sameTextNoCase(type, kRefundType);
  r.hasClientType = bundle->contains(kClientTypeKey);
  r.reference = text(kTxnReferenceKey, &r.hasReference);
  r.statusWindowMs = kStatusWindowMs;
  const char* window = bundle->get(kStatusWindowKey);
  if (bundle->contains(kStatusWindowKey) && !parseMilliseconds(window, &r.statusWindowMs)) {
    r.settingProblem = std::string(kStatusWindowKey) + " must be a whole number of milliseconds.";
  }
  const char* timeout = bundle->get(kTimeoutKey);
  r.hasTimeout = bundle->contains(kTimeoutKey);
  if (r.hasTimeout && (!parseMilliseconds(timeout, &r.timeoutMs) || r.timeoutMs == 0)) {
    r.settingProblem = std::string(kTimeoutKey) + " must be a whole number of milliseconds, at least 1.";
  }
  r.hasProxy = bundle->contains(kProxyKey);
  std::string proxyProblem;
  if (r.hasProxy && !ProxySetting::parse(text(kProxyKey, nullptr), &r.proxy, &proxyProblem)) {
    r.settingProblem = std::string(kProxyKey) + " cannot be used: " + proxyProblem;
  }
  readFields(bundle, &r);
  return r;
}
