#include "requestChecks.h"

#include <cstring>
#include <string>

#include "BHashTable.h"
#include "BString.h"
#include "BVector.h"
#include "clientFailure.h"
#include "memTrack.h"

namespace {

const int kHighestPort = 65535;

// The characters that would end a field's line (CR, LF) or its name ("=")
// on the wire.
const char kLineBreaks[] = "\r\n";
const char kNameEnders[] = "=\r\n";

// Fails the exchange before it connects.
bool refuse(txn* t, const char* error, const std::string& detail) {
  std::string logLine = "\t\tRequest refused before sending: " + detail;
  return failTransaction(t, logLine.c_str(), error, detail.c_str());
}

// The text of a bundle's key or value: "" for a string that never held
// text, null for no string at all.
const char* textOf(BObject* object) {
  if (object == nullptr || !object->instanceOf(BString::staticType())) return nullptr;
  const char* text = static_cast<BString*>(object)->buffer();
  return text != nullptr ? text : "";
}

// Why a field cannot be sent, or "" when it can. name is not null.
std::string problemWith(const char* name, const char* value) {
  if (*name == '\0') return "A field has an empty name, which the message cannot carry.";
  size_t clean = strcspn(name, kNameEnders);
  if (name[clean] != '\0') {
    return "The name of the field [" + std::string(name, clean) +
           "...] holds \"=\", CR or LF, which the message cannot carry.";
  }
  if (value == nullptr) return "";
  if (value[strcspn(value, kLineBreaks)] != '\0') {
    return "The field [" + std::string(name) + "] holds CR or LF, which the message cannot carry.";
  }
  if (strchr(value, '=') != nullptr) {
    return "The field [" + std::string(name) + "] holds \"=\", which the message cannot carry.";
  }
  return "";
}

}  // namespace

bool parsePort(const char* text, int* port) {
  if (text == nullptr || *text == '\0') return false;
  int value = 0;
  for (const char* c = text; *c != '\0'; c++) {
    if (*c < '0' || *c > '9') return false;
    value = value * 10 + (*c - '0');
    if (value > kHighestPort) return false;
  }
  if (value < 1) return false;
  *port = value;
  return true;
}

bool checkServerPort(txn* t, int* port) {
  if (parsePort(t->bundle->get("SERVERPORT"), port)) return true;
  return refuse(t, "UNABLE TO CONNECT - COULD NOT OPEN SOCKET",
                "The server port is invalid: it must be a whole number from 1 to 65535.");
}

bool checkSendableFields(txn* t) {
  BVector* keys = t->bundle->getKeys();
  BVector* values = t->bundle->getValues();
  std::string problem;
  for (int i = 0; i < keys->size() && i < values->size() && problem.empty(); i++) {
    const char* name = textOf(keys->get(i, 0));
    // The "_" fields stay in the process, so nothing in them can reach the
    // wire.
    if (name == nullptr || name[0] == '_') continue;
    problem = problemWith(name, textOf(values->get(i, 0)));
  }
  trackDelete(keys);
  trackDelete(values);
  if (problem.empty()) return true;
  return refuse(t, "INVALID FIELD", problem);
}
