// A merchant's C++ program built against the installed library through
// find_package: uses a class of the object library and runs one refund.
// Usage: refund PORT CERTIFICATE PASSWORD CAFILE
#include <cstdio>
#include <cstring>

#include <zelvan/BString.h>
#include <zelvan/zelvanclient.h>

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s PORT CERTIFICATE PASSWORD CAFILE\n", argv[0]);
    return 2;
  }
  BString amount("2.50", 4);
  txn* t = newBundle();
  setServers(t, "127.0.0.1");
  setPort(t, argv[1]);
  put_ClientID(t, "10000001");
  put_CertificatePath(t, argv[2]);
  put_CertificatePassword(t, argv[3]);
  put(t, "_CAFILE", argv[4]);
  put(t, "TRANSACTIONTYPE", "REFUND");
  put(t, "CARDDATA", "5555555555554444");
  put(t, "AMOUNT", amount.buffer());

  bool ok = execute(t) == 1;
  const char* result = get(t, "RESULT");
  const char* card = get(t, "CARDDATA");
  ok = ok && result != nullptr && std::strcmp(result, "0") == 0;
  ok = ok && card != nullptr && std::strcmp(card, "555555XXXXXX4444") == 0;
  if (!ok) {
    const char* error = get(t, "ERROR");
    std::fprintf(stderr, "refund failed: RESULT [%s] ERROR [%s]\n", result ? result : "(null)",
                 error ? error : "(null)");
  }
  cleanup(t);
  if (ok) std::printf("refund approved\n");
  return ok ? 0 : 1;
}
