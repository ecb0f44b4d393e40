#include "run_transaction.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <zelvan/zelvanclient.h>

static int expect(const char *what, const char *got, const char *wanted) {
  if (got != NULL && strcmp(got, wanted) == 0) return 1;
  fprintf(stderr, "%s: got [%s], wanted [%s]\n", what, got ? got : "(null)", wanted);
  return 0;
}

int runTransaction(const char *port, const char *certificate, const char *password,
                   const char *caFile, const char *type, const char *card, const char *amount) {
  txn *t = newBundle();
  setServers(t, "127.0.0.1");
  setPort(t, port);
  put_ClientID(t, "10000001");
  put_CertificatePath(t, certificate);
  put_CertificatePassword(t, password);
  put(t, "_CAFILE", caFile);
  put(t, "TRANSACTIONTYPE", type);
  put(t, "CARDDATA", card);
  put(t, "CARDEXPIRYDATE", "1230");
  put(t, "CVC2", "123");
  put(t, "AMOUNT", amount);

  int ok = execute(t) == 1;
  if (!ok) fprintf(stderr, "execute failed: %s\n", get(t, "ERROR") ? get(t, "ERROR") : "(no ERROR)");
  ok = expect("RESULT", get(t, "RESULT"), "0") && ok;
  ok = expect("RESPONSETEXT", get(t, "RESPONSETEXT"), "APPROVED") && ok;
  char masked[17];
  snprintf(masked, sizeof masked, "%.6sXXXXXX%.4s", card, card + 12);
  ok = expect("CARDDATA", get(t, "CARDDATA"), masked) && ok;
  ok = expect("CVC2", get(t, "CVC2"), "***") && ok;

  /* The whole bundle comes in an array of the caller's, released with free(). */
  char *works = get(t, "THEWORKS");
  ok = expect("AUTHCODE in THEWORKS", works && strstr(works, "AUTHCODE=") ? "yes" : "no", "yes") && ok;
  free(works);
  cleanup(t);
  return ok ? 0 : 1;
}
