#ifndef ZELVAN_BUNDLEKEYS_H_
#define ZELVAN_BUNDLEKEYS_H_

#include <string>

// Every bundle key the client reads or writes, named once. Keys that begin
// with "_" stay in the process: they are never sent to the gateway.

// The request and its settings, as the application puts them.
constexpr char kClientIdKey[] = "CLIENTID";
constexpr char kTransactionTypeKey[] = "TRANSACTIONTYPE";
constexpr char kCertificatePathKey[] = "_CERTIFICATEPATH";
constexpr char kCertificatePasswordKey[] = "_CERTIFICATEPASSWORD";
constexpr char kCaFileKey[] = "_CAFILE";
// "OFF" lets a gateway whose certificate does not name the address it was
// reached by pass on its chain alone.
constexpr char kVerifyHostKey[] = "_VERIFYHOST";
// Milliseconds over which status checks go on (see policy.h).
constexpr char kStatusWindowKey[] = "_STATUSWINDOW";
// Milliseconds the whole execute() may take, status checks included.
constexpr char kTimeoutKey[] = "_TIMEOUT";
// http://[user:password@]host:port: every connection goes through this
// HTTP proxy.
constexpr char kProxyKey[] = "_PROXY";
constexpr char kServerPortKey[] = "SERVERPORT";
constexpr char kServerCountKey[] = "SERVERCOUNT";
// The numbered servers of the list are "SERVER0", "SERVER1", ...: see
// numberedServerKey() below.
constexpr char kDebugKey[] = "DEBUG";
constexpr char kLogFileKey[] = "LOGFILE";

// Card data, masked or overwritten after every exchange.
constexpr char kCardDataKey[] = "CARDDATA";
constexpr char kCvc2Key[] = "CVC2";
constexpr char kCardExpiryDateKey[] = "CARDEXPIRYDATE";

// What the client adds.
constexpr char kServerKey[] = "SERVER";
// The key of the server at position in the list: "SERVER" and the
// position in decimal.
inline std::string numberedServerKey(int position) { return kServerKey + std::to_string(position); }
constexpr char kClientTypeKey[] = "ZELVANCLIENTTYPE";
constexpr char kClientVersionKey[] = "ZELVANCLIENTVERSION";
constexpr char kOpenSslVersionKey[] = "_OPENSSL_VERSION";
constexpr char kTimingsKey[] = "TIMINGS";
constexpr char kSslObjectsKey[] = "NUM_SSL_OBJECTS";
constexpr char kTotalTimeKey[] = "TOTAL_TIME";

// The outcome: written by the client on a local failure, otherwise by the
// gateway.
constexpr char kErrorKey[] = "ERROR";
constexpr char kErrorDetailKey[] = "ERROR_DETAIL";
constexpr char kResultKey[] = "RESULT";

// Fields only the gateway sets.
constexpr char kTxnReferenceKey[] = "TXNREFERENCE";
constexpr char kAuthCodeKey[] = "AUTHCODE";
constexpr char kResponseTextKey[] = "RESPONSETEXT";
constexpr char kResponseCodeKey[] = "RESPONSECODE";
constexpr char kWireTimeKey[] = "WIRE_TIME";

// Not a field: get() of this name returns the whole bundle as text.
constexpr char kWholeBundleName[] = "THEWORKS";

// Values of TRANSACTIONTYPE the client acts on, compared ignoring case.
constexpr char kPurchaseType[] = "PURCHASE";
constexpr char kRefundType[] = "REFUND";
constexpr char kStatusType[] = "STATUS";

#endif  // ZELVAN_BUNDLEKEYS_H_
