#ifndef ZELVAN_TRANSACTIONREQUEST_H_
#define ZELVAN_TRANSACTIONREQUEST_H_

#include <cstdint>
#include <map>
#include <string>

#include "ProxySetting.h"
#include "txn.h"

// What one exchange needs of the bundle, read from it once when the
// exchange starts (readRequest()). The steps of the exchange take this
// request; none of them reads the bundle again. Absent text fields read as
// "", with has* saying whether they were given (an empty value counts as
// given). No card data are copied into it.
struct TransactionRequest {
  // _CERTIFICATEPATH, _CERTIFICATEPASSWORD, _CAFILE.
  bool hasCertificatePath = false;
  std::string certificatePath;
  std::string certificatePassword;
  std::string caFile;
  // False when _VERIFYHOST is "OFF" (any case).
  bool checkHostName = true;

  // SERVERPORT: given, and when it is a port (see parsePort()) its value.
  bool hasPort = false;
  bool portValid = false;
  int port = 0;

  // SERVERCOUNT as atoi() reads it (0 when absent), and the numbered
  // servers present below it.
  int serverCount = 0;
  std::map<int, std::string> servers;

  bool hasClientId = false;
  bool hasTransactionType = false;
  std::string transactionType;
  // TRANSACTIONTYPE is "STATUS" (any case); a missing type is no status
  // check, so that the parameter check can report it.
  bool statusCheck = false;
  // TRANSACTIONTYPE is "PURCHASE" or "REFUND" (any case).
  bool purchaseOrRefund = false;

  // _STATUSWINDOW in milliseconds, kStatusWindowMs when not given.
  int64_t statusWindowMs;
  // _TIMEOUT in milliseconds, when given.
  bool hasTimeout = false;
  int64_t timeoutMs = 0;
  // _PROXY, when given and usable.
  bool hasProxy = false;
  ProxySetting proxy;
  // Why a local setting (_STATUSWINDOW, _TIMEOUT, _PROXY) cannot be used, naming the
  // setting (never its value); empty when every one can.
  std::string settingProblem;

  // The application named its own ZELVANCLIENTTYPE.
  bool hasClientType = false;

  // TXNREFERENCE as the bundle held it before the exchange.
  bool hasReference = false;
  std::string reference;

  // Why a field that would be sent cannot be carried by the message (see
  // sendProblem()), for the first such field in the bundle's order; empty
  // when every field can.
  std::string unsendable;

  // Server i of the list: "" for one that is not in the bundle.
  std::string server(int i) const;
};

// Reads the request from t's bundle.
TransactionRequest readRequest(const txn* t);

#endif  // ZELVAN_TRANSACTIONREQUEST_H_
