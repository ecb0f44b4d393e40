#include "replyMerge.h"

#include <cctype>
#include <cstring>
#include <vector>

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

void logIgnored(txn* t, int ignored) {
  if (ignored > 0) {
    logDebugPrintf(t, "\t\tIgnored %d reply field(s) that only this client may set.", ignored);
  }
}

}  // namespace

bool isLocalSetting(const char* name) {
  return name[0] == '_' || strcmp(name, kServerCountKey) == 0 || strcmp(name, kServerPortKey) == 0 ||
         isNumberedServer(name);
}

namespace {

// A new BHashTable, which a reply used to be parsed into, starts with this
// many buckets and grows once a chain is longer than kReplyChainLimit.
// ReplyMerge's order test fails if these stop matching the table.
constexpr int kReplyBuckets = 30;
constexpr int kReplyChainLimit = 10;

// One distinct field of a reply: its key and the value of its last line.
struct ReplyField {
  BString* key;
  BString* value;
  int bucket;
};

// A piece of a line as the bundle stores it: null for an empty piece or
// "<null>".
BString* pieceOf(const char* text, int n, const char* label) {
  if (n == 0 || (n == 6 && memcmp(text, "<null>", 6) == 0)) return nullptr;
  return trackNew(new BString(text, n), label);
}

// Splits a line into key and value as BMap::addAll() does: the line is cut
// at every "=", a trailing "=" adds no empty piece, and only a line of
// exactly two pieces counts. False for any other line.
bool splitLine(const char* line, int n, int* keyLength, const char** value, int* valueLength) {
  const char* first = static_cast<const char*>(memchr(line, '=', n));
  if (first == nullptr) return false;
  const char* rest = first + 1;
  const char* end = line + n;
  const char* second = static_cast<const char*>(memchr(rest, '=', end - rest));
  if (second == nullptr) {
    if (rest == end) return false;  // "key=": one piece
  } else if (second != end - 1) {
    return false;  // three pieces or more
  } else {
    end = second;  // "key=value=": the trailing "=" ends the value
  }
  *keyLength = static_cast<int>(first - line);
  *value = rest;
  *valueLength = static_cast<int>(end - rest);
  return true;
}

// Reads the reply's lines (ended by "\r\n", "\r" or "\n") into its distinct
// fields, first occurrence first, each with its last line's value.
void parseFields(const char* text, std::vector<ReplyField>* fields) {
  const char* p = text;
  while (*p != '\0') {
    size_t n = strcspn(p, "\r\n");
    const char* next = p + n;
    if (*next == '\r') next += next[1] == '\n' ? 2 : 1;
    else if (*next == '\n') next++;
    int keyLength = 0;
    int valueLength = 0;
    const char* valueText = nullptr;
    if (n > 0 && splitLine(p, static_cast<int>(n), &keyLength, &valueText, &valueLength)) {
      BString* key = pieceOf(p, keyLength, "key object creation in add all");
      if (key != nullptr) {
        BString* value = pieceOf(valueText, valueLength, "value object creation in add all");
        int64_t hash = key->hashCode() % kReplyBuckets;
        int bucket = static_cast<int>(hash < 0 ? -hash : hash);
        ReplyField* same = nullptr;
        for (ReplyField& f : *fields) {
          if (f.bucket == bucket && f.key->equals(key)) same = &f;
        }
        if (same != nullptr) {
          trackDelete(key);
          trackDelete(same->value);
          same->value = value;
        } else {
          fields->push_back({key, value, bucket});
        }
      }
    }
    p = next;
  }
}

// Whether a table of kReplyBuckets buckets holds these fields without
// growing: then listing it gives bucket after bucket, each chain newest
// first, which is the order the fields reach the bundle in.
bool fitsReplyTable(const std::vector<ReplyField>& fields) {
  int chains[kReplyBuckets] = {};
  for (const ReplyField& f : fields) {
    if (++chains[f.bucket] > kReplyChainLimit) return false;
  }
  return true;
}

// The way every reply used to be merged: parsed into a table of its own
// first, then copied field by field. Kept for a reply so large that its
// table would have grown, whose order only that table gives.
void mergeThroughTable(txn* t, const char* text, GatewayAnswer* answer) {
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
  logIgnored(t, ignored);
}

}  // namespace

void mergeReply(txn* t, const char* text, GatewayAnswer* answer) {
  if (text == nullptr) return;
  // The fields reach the bundle one by one in the order the reply's own
  // hash table used to list them (bucket by bucket, newest first in each),
  // so the bundle's order, and so THEWORKS and the next request, stay as
  // they were, without building and copying that table.
  std::vector<ReplyField> fields;
  fields.reserve(32);
  parseFields(text, &fields);
  if (!fitsReplyTable(fields)) {
    for (ReplyField& f : fields) {
      trackDelete(f.key);
      trackDelete(f.value);
    }
    mergeThroughTable(t, text, answer);
    return;
  }
  int ignored = 0;
  for (int bucket = 0; bucket < kReplyBuckets; bucket++) {
    for (size_t i = fields.size(); i-- > 0;) {
      ReplyField& f = fields[i];
      if (f.bucket != bucket) continue;
      const char* name = f.key->buffer();
      if (isLocalSetting(name)) {
        ignored++;
        trackDelete(f.key);
        trackDelete(f.value);
        continue;
      }
      note(answer, name, f.value != nullptr ? f.value->buffer() : nullptr);
      BObject* key = f.key;
      t->bundle->put(&key, f.value, 1, 1);
    }
  }
  logIgnored(t, ignored);
}
