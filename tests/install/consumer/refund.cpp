// A merchant's C++ program, built against the installed library through
// find_package, that also uses a class of the object library.
// Usage: refund PORT CERTIFICATE PASSWORD CAFILE
#include <cstdio>

#include <zelvan/BString.h>

#include "run_transaction.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s PORT CERTIFICATE PASSWORD CAFILE\n", argv[0]);
    return 2;
  }
  BString amount("2.50");
  if (runTransaction(argv[1], argv[2], argv[3], argv[4], "REFUND", "5555555555554444", amount.buffer()) != 0)
    return 1;
  std::printf("refund approved\n");
  return 0;
}
