#include "TransactionRecord.h"

#include <cstdio>

#include "BHashTable.h"
#include "BString.h"
#include "bundleKeys.h"
#include "cardData.h"
#include "debugLog.h"
#include "gatewayMessage.h"
#include "memTrack.h"
#include "replyMerge.h"
#include "sslConnection.h"

namespace {

const char kClientType[] = "ZelvanClient (ANSI)";
// The protocol version the gateway reads, not the package's version.
const char kClientVersion[] = "1.17";

// Summary lines of an absent field show this in place of its value.
const char kAbsent[] = "(null)";

}  // namespace

void TransactionRecord::record(const EngineStatus& status) {
  if (!status.failed()) return;
  for (const std::string& line : status.logLines()) logDebugMessage(t_, line.c_str());
  t_->bundle->put(kErrorKey, status.error().c_str());
  if (status.hasDetail()) t_->bundle->put(kErrorDetailKey, status.detail().c_str());
  // Compatibility: an exception leaves RESULT as the exchange left it;
  // applications that read RESULT see the last gateway answer.
  if (status.setsResult()) t_->bundle->put(kResultKey, "-1");
}

bool TransactionRecord::holdsReference() const { return t_->bundle->contains(kTxnReferenceKey); }

void TransactionRecord::clearPreviousOutcome() {
  t_->bundle->remove(kErrorKey);
  t_->bundle->remove(kErrorDetailKey);
  t_->bundle->remove(kResultKey);
}

void TransactionRecord::setServer(const std::string& server) {
  t_->bundle->put(kServerKey, server.c_str());
}

void TransactionRecord::addClientIdentity(bool addType) {
  // Compatibility: the version belongs to this client's own type. An
  // application that names its own type gets no version added, and the
  // gateway sees exactly the type fields the application chose.
  if (addType) {
    t_->bundle->put(kClientTypeKey, kClientType);
    t_->bundle->put(kClientVersionKey, kClientVersion);
  }
  t_->bundle->put(kOpenSslVersionKey, sslLibraryVersion());
}

BString* TransactionRecord::message() const {
  BString* text = t_->bundle->toString("_");
  if (text == nullptr) return trackNew(new BString(kEndMarker), "empty trans message");
  text->append(kEndMarker);
  return text;
}

void TransactionRecord::mergeReply(const char* text, GatewayAnswer* answer) {
  ::mergeReply(t_, text, answer);
}

void TransactionRecord::maskCardData() { clearCardData(t_); }

void TransactionRecord::markStatusCheck() { t_->bundle->put(kTransactionTypeKey, kStatusType); }

void TransactionRecord::setTimings(const char* text) { t_->bundle->put(kTimingsKey, text); }

void TransactionRecord::setSslObjects(const char* text) { t_->bundle->put(kSslObjectsKey, text); }

void TransactionRecord::setTotalTime(unsigned long milliseconds) {
  t_->bundle->put(kTotalTimeKey, std::to_string(milliseconds).c_str());
}

void TransactionRecord::logField(const char* format, const char* key) {
  const char* value = t_->bundle->get(key);
  logDebugPrintf(t_, format, value != nullptr ? value : kAbsent);
}
