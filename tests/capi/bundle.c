/*
** A C application's view of the library: zelvanclient.h compiles as strict
** C99 and the exported functions link and run under their plain names. The
** bundle's behaviour is tested through the C++ API; this checks one field.
*/
#include <stdlib.h>
#include <string.h>

#include "zelvanclient.h"

int main(void) {
  txn *t = newBundle();
  const char *amount;
  int ok;

  put(t, "AMOUNT", "100");
  amount = get(t, "AMOUNT");
  ok = amount != NULL && strcmp(amount, "100") == 0;
  cleanup(t);
  return ok ? EXIT_SUCCESS : EXIT_FAILURE;
}
