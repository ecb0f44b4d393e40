#include "Purchase.h"

#include <cstdio>
#include <cstring>

#include "gatewayMessage.h"
#include "zelvanclient.h"

const char* const kPurchaseFields[][2] = {
    {"TRANSACTIONTYPE", "PURCHASE"}, {"CARDDATA", "4111111111111111"}, {"CARDEXPIRYDATE", "1230"},
    {"CVC2", "123"},                 {"AMOUNT", "12.50"},              {"CURRENCY", "EUR"},
};
const int kPurchaseFieldCount = sizeof kPurchaseFields / sizeof kPurchaseFields[0];

namespace {

const char kClientId[] = "10000001";

std::string orderId(long sequence) { return "bench-" + std::to_string(sequence); }

}  // namespace

bool runPurchase(const GatewayTarget& target, long sequence) {
  txn* t = newBundle();
  setServers(t, "127.0.0.1");
  setPort(t, std::to_string(target.port).c_str());
  put_CertificatePath(t, target.certificate.c_str());
  put_CertificatePassword(t, target.password.c_str());
  if (!target.caFile.empty()) put(t, "_CAFILE", target.caFile.c_str());
  put_ClientID(t, kClientId);
  for (int i = 0; i < kPurchaseFieldCount; ++i) put(t, kPurchaseFields[i][0], kPurchaseFields[i][1]);
  put(t, "ORDERID", orderId(sequence).c_str());

  bool approved = execute(t) == 1;
  const char* result = get(t, "RESULT");
  approved = approved && result != nullptr && std::strcmp(result, "0") == 0;
  if (!approved) {
    const char* error = get(t, "ERROR");
    std::fprintf(stderr, "purchase %ld failed: RESULT %s, ERROR %s\n", sequence, result ? result : "(none)",
                 error ? error : "(none)");
  }
  cleanup(t);
  return approved;
}

std::string purchaseMessage(long sequence) {
  std::string text = std::string("CLIENTID=") + kClientId + "\r\nORDERID=" + orderId(sequence) + "\r\n";
  for (int i = 0; i < kPurchaseFieldCount; ++i) {
    text += std::string(kPurchaseFields[i][0]) + "=" + kPurchaseFields[i][1] + "\r\n";
  }
  return text + kEndMarker;
}
