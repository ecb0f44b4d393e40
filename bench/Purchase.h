#ifndef ZELVAN_BENCH_PURCHASE_H_
#define ZELVAN_BENCH_PURCHASE_H_

#include <string>

// Where and as whom the benchmarks pay: a gateway on 127.0.0.1.
struct GatewayTarget {
  int port = 0;
  std::string certificate;  // client certificate and key, PEM or PKCS#12
  std::string password;     // the key's password; empty for a plain key
  std::string caFile;       // verify the gateway against it; empty: no check
};

// The fields of the purchase that every benchmark sends: a merchant's
// usual request, card data included.
extern const char* const kPurchaseFields[][2];
extern const int kPurchaseFieldCount;

// Runs one purchase through the exported C API as a merchant does: a new
// handle, the settings and fields, execute, the outcome read, the handle
// cleaned up. Returns true when execute succeeded and the gateway
// approved (RESULT "0"); otherwise prints the bundle's ERROR to stderr.
bool runPurchase(const GatewayTarget& target, long sequence);

// The purchase's fields as one gateway message, end marker included.
std::string purchaseMessage(long sequence);

#endif  // ZELVAN_BENCH_PURCHASE_H_
