/*
** A merchant's C program, built against the installed library through
** pkg-config. Usage: purchase PORT CERTIFICATE PASSWORD CAFILE
*/
#include <stdio.h>

#include "run_transaction.h"

int main(int argc, char **argv) {
  if (argc != 5) {
    fprintf(stderr, "usage: %s PORT CERTIFICATE PASSWORD CAFILE\n", argv[0]);
    return 2;
  }
  if (runTransaction(argv[1], argv[2], argv[3], argv[4], "PURCHASE", "4111111111111111", "12.50") != 0)
    return 1;
  printf("purchase approved\n");
  return 0;
}
