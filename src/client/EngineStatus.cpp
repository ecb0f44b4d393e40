#include "EngineStatus.h"

EngineStatus::EngineStatus(Code code, const char* error, const char* logLine)
    : code_(code), error_(error) {
  if (logLine != nullptr) logLines_.emplace_back(logLine);
}

EngineStatus EngineStatus::Exception() {
  return EngineStatus(kException, "Unknown exception during transaction execution.", nullptr);
}

EngineStatus EngineStatus::Failure(const char* error, const char* logLine, CardData cardData) {
  EngineStatus status(kFailed, error, logLine);
  status.cardData_ = cardData;
  return status;
}

EngineStatus EngineStatus::FailureWithDetail(const char* error, const std::string& detail,
                                             const char* logLine, CardData cardData) {
  EngineStatus status = Failure(error, logLine, cardData);
  status.hasDetail_ = true;
  status.detail_ = detail;
  return status;
}

EngineStatus EngineStatus::TimedOut(int64_t boundMs, const char* step) {
  std::string detail = "The payment's time bound of " + std::to_string(boundMs) + " ms ran out during " + step + ".";
  std::string line = "\t\t" + detail;
  return FailureWithDetail("TRANSACTION TIMED OUT", detail, line.c_str());
}

EngineStatus EngineStatus::loggedAs(const char* line) const {
  EngineStatus status = *this;
  status.logLines_.clear();
  if (line != nullptr) status.logLines_.emplace_back(line);
  return status;
}

EngineStatus EngineStatus::then(const char* line) const {
  EngineStatus status = *this;
  status.logLines_.emplace_back(line);
  return status;
}
