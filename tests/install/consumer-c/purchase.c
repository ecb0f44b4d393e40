/*
** A merchant's C program built against the installed library through
** pkg-config: runs one purchase and checks what a merchant relies on.
** Usage: purchase PORT CERTIFICATE PASSWORD CAFILE
*/
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <zelvan/zelvanclient.h>

static int expect(const char *what, const char *got, const char *wanted) {
  if (got != NULL && strcmp(got, wanted) == 0) return 1;
  fprintf(stderr, "%s: got [%s], wanted [%s]\n", what, got ? got : "(null)", wanted);
  return 0;
}

int main(int argc, char **argv) {
  if (argc != 5) {
    fprintf(stderr, "usage: %s PORT CERTIFICATE PASSWORD CAFILE\n", argv[0]);
    return 2;
  }
  txn *t = newBundle();
  setServers(t, "127.0.0.1");
  setPort(t, argv[1]);
  put_ClientID(t, "10000001");
  put_CertificatePath(t, argv[2]);
  put_CertificatePassword(t, argv[3]);
  put(t, "_CAFILE", argv[4]);
  put(t, "TRANSACTIONTYPE", "PURCHASE");
  put(t, "CARDDATA", "4111111111111111");
  put(t, "CARDEXPIRYDATE", "1230");
  put(t, "CVC2", "123");
  put(t, "AMOUNT", "12.50");

  int ok = execute(t) == 1;
  if (!ok) fprintf(stderr, "execute failed: %s\n", get(t, "ERROR") ? get(t, "ERROR") : "(no ERROR)");
  ok = expect("RESULT", get(t, "RESULT"), "0") && ok;
  ok = expect("RESPONSETEXT", get(t, "RESPONSETEXT"), "APPROVED") && ok;
  ok = expect("CARDDATA", get(t, "CARDDATA"), "411111XXXXXX1111") && ok;
  ok = expect("CVC2", get(t, "CVC2"), "***") && ok;

  char *works = get(t, "THEWORKS");
  ok = (works != NULL && strstr(works, "AUTHCODE=") != NULL) && ok;
  free(works);
  cleanup(t);
  if (ok) printf("purchase approved\n");
  return ok ? 0 : 1;
}
