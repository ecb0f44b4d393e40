#ifndef ZELVAN_ENGINESTATUS_H_
#define ZELVAN_ENGINESTATUS_H_

#include <cstdint>
#include <string>
#include <vector>

// What the gateway said during one exchange, noted as its replies are
// merged, so that the outcome is decided from the replies themselves and
// not from whatever the bundle held before.
struct GatewayAnswer {
  // A reply carried TXNREFERENCE: the gateway holds the transaction. The
  // last reference given.
  bool gaveReference = false;
  std::string reference;
  // A reply carried ERROR.
  bool gaveError = false;
  // A reply carried RESULT; approved when the last RESULT given was "0".
  bool gaveResult = false;
  bool approved = false;
};

// The result of one step of the transaction engine, in the manner of
// leveldb::Status: ok, or a failure with the ERROR text the application
// reads, an optional ERROR_DETAIL and the debug-log lines that report it.
// Every step returns one; TransactionRecord::record() is the one place
// that writes a failure into the bundle. The status of a whole exchange
// also carries what the gateway answered (see answer()).
class EngineStatus {
 public:
  enum Code {
    kOk = 0,
    // The gateway's first reply carried its own ERROR: the exchange ran to
    // its end, and the gateway's fields are the outcome.
    kGatewayError,
    // A local failure: ERROR, ERROR_DETAIL when given, RESULT "-1".
    kFailed,
    // An exception ended the exchange: ERROR only, RESULT stays as the
    // exchange left it.
    kException,
  };

  // What a failure does to the card data of the bundle.
  enum CardData {
    // Masked or overwritten, as after every exchange that connected.
    kMaskCardData,
    // Left as they are: the request was refused before any connection, or
    // no SSL context could be had, and the application may run the same
    // request again once it has mended the request or the certificate.
    kKeepCardDataForRetry,
  };

  EngineStatus() = default;

  static EngineStatus Ok() { return EngineStatus(); }
  static EngineStatus GatewayError() { return EngineStatus(kGatewayError, "", nullptr); }
  static EngineStatus Exception();

  // A local failure. error is the ERROR text (not null). logLine, when not
  // null, is written to the log as the failure is recorded.
  static EngineStatus Failure(const char* error, const char* logLine = nullptr,
                              CardData cardData = kMaskCardData);
  // The same with ERROR_DETAIL = detail (which may be empty).
  static EngineStatus FailureWithDetail(const char* error, const std::string& detail,
                                        const char* logLine = nullptr,
                                        CardData cardData = kMaskCardData);

  // The payment's time bound (_TIMEOUT) of boundMs ran out during step
  // ("the SSL handshake"): ERROR "TRANSACTION TIMED OUT", with a detail
  // that says so.
  static EngineStatus TimedOut(int64_t boundMs, const char* step);

  bool ok() const { return code_ == kOk; }
  bool failed() const { return code_ == kFailed || code_ == kException; }
  // The exchange ran to its end: ok, or the gateway's own ERROR.
  bool completed() const { return code_ == kOk || code_ == kGatewayError; }
  Code code() const { return code_; }

  const std::string& error() const { return error_; }
  bool hasDetail() const { return hasDetail_; }
  const std::string& detail() const { return detail_; }
  // The lines to log as the failure is recorded, in order.
  const std::vector<std::string>& logLines() const { return logLines_; }
  // RESULT "-1" goes with every failure but an exception.
  bool setsResult() const { return code_ == kFailed; }
  bool keepsCardData() const { return cardData_ == kKeepCardDataForRetry; }

  // The same failure with line as its only log line.
  EngineStatus loggedAs(const char* line) const;
  // The same failure with line logged after its own.
  EngineStatus then(const char* line) const;

  const GatewayAnswer& answer() const { return answer_; }
  void setAnswer(const GatewayAnswer& answer) { answer_ = answer; }

 private:
  EngineStatus(Code code, const char* error, const char* logLine);

  Code code_ = kOk;
  std::string error_;
  bool hasDetail_ = false;
  std::string detail_;
  std::vector<std::string> logLines_;
  CardData cardData_ = kMaskCardData;
  GatewayAnswer answer_;
};

#endif  // ZELVAN_ENGINESTATUS_H_
