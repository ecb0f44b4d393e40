// A purchase from C++: the C API behind a small owner class, so that the
// handle, and the card data and password in its bundle, are released on
// every path out of the function.
// Usage: purchase_cpp SERVERS PORT CERTIFICATE CAFILE
// The certificate's password comes from $ZELVAN_CERT_PASSWORD.
// Exit status: 0 approved, 1 declined, 2 no decision.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <zelvanclient.h>

namespace {

// Owns one transaction handle.
class Transaction {
 public:
  Transaction() : handle_(newBundle(), cleanup) {}
  void set(const char* name, const std::string& value) { put(handle_.get(), name, value.c_str()); }
  // The field's text; empty when the bundle has no such field.
  std::string field(const char* name) const {
    const char* value = get(handle_.get(), name);
    return value ? value : "";
  }
  txn* handle() { return handle_.get(); }

 private:
  std::unique_ptr<txn, void (*)(txn*)> handle_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s SERVERS PORT CERTIFICATE CAFILE\n", argv[0]);
    return 2;
  }
  std::printf("libzelvanclient %s (built against %s)\n", zelvanclient_version(), ZELVANCLIENT_VERSION);
  const char* password = std::getenv("ZELVAN_CERT_PASSWORD");

  Transaction t;
  setServers(t.handle(), argv[1]);
  setPort(t.handle(), argv[2]);
  put_CertificatePath(t.handle(), argv[3]);
  put_CertificatePassword(t.handle(), password ? password : "");
  t.set("_CAFILE", argv[4]);
  put_ClientID(t.handle(), "10000001");
  t.set("TRANSACTIONTYPE", "PURCHASE");
  t.set("CARDDATA", "4111111111111111");
  t.set("AMOUNT", "7.25");

  if (execute(t.handle()) != 1 || !t.field("ERROR").empty()) {
    std::printf("no decision: %s, reference %s\n", t.field("ERROR").c_str(), t.field("TXNREFERENCE").c_str());
    return 2;
  }
  bool approved = t.field("RESULT") == "0";
  std::printf("%s: %s, card %s\n", approved ? "approved" : "declined", t.field("RESPONSETEXT").c_str(),
              t.field("CARDDATA").c_str());
  return approved ? 0 : 1;
}
