#include "requestChecks.h"

#include <cstring>

#include "TransactionRequest.h"
#include "policy.h"

namespace {

const int kHighestPort = 65535;

// The characters that would end a field's line (CR, LF) or its name ("=")
// on the wire.
const char kLineBreaks[] = "\r\n";
const char kNameEnders[] = "=\r\n";

// Fails the exchange before it connects, keeping the card data.
EngineStatus refuse(const char* error, const std::string& detail) {
  std::string logLine = "\t\tRequest refused before sending: " + detail;
  return EngineStatus::FailureWithDetail(error, detail, logLine.c_str(),
                                         EngineStatus::kKeepCardDataForRetry);
}

// Reads text as a whole decimal number of at most highest: digits only
// (no sign, no blanks, nothing after them), at least one.
bool parseDigits(const char* text, int64_t highest, int64_t* value) {
  if (text == nullptr || *text == '\0') return false;
  int64_t read = 0;
  for (const char* c = text; *c != '\0'; c++) {
    if (*c < '0' || *c > '9') return false;
    read = read * 10 + (*c - '0');
    if (read > highest) return false;
  }
  *value = read;
  return true;
}

}  // namespace

bool parsePort(const char* text, int* port) {
  int64_t value = 0;
  if (!parseDigits(text, kHighestPort, &value) || value < 1) return false;
  *port = static_cast<int>(value);
  return true;
}

bool parseMilliseconds(const char* text, int64_t* ms) { return parseDigits(text, kLongestDeadlineMs, ms); }

std::string sendProblem(const char* name, const char* value) {
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

EngineStatus checkServerPort(const TransactionRequest& request) {
  if (request.portValid) return EngineStatus::Ok();
  return refuse("UNABLE TO CONNECT - COULD NOT OPEN SOCKET",
                "The server port is invalid: it must be a whole number from 1 to 65535.");
}

EngineStatus checkLocalSettings(const TransactionRequest& request) {
  if (request.settingProblem.empty()) return EngineStatus::Ok();
  return refuse("INVALID SETTING", request.settingProblem);
}

EngineStatus checkSendableFields(const TransactionRequest& request) {
  if (request.unsendable.empty()) return EngineStatus::Ok();
  return refuse("INVALID FIELD", request.unsendable);
}
