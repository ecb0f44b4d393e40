#include "requestChecks.h"

#include <cstring>

#include "TransactionRequest.h"

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

EngineStatus checkSendableFields(const TransactionRequest& request) {
  if (request.unsendable.empty()) return EngineStatus::Ok();
  return refuse("INVALID FIELD", request.unsendable);
}
