/*
** Drives a transaction bundle through the exported functions as a C
** application does: fill it, read it back, take the whole text, flush it
** and clean up. Names every failed check and exits non-zero.
*/
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zelvanclient.h"

static int failures = 0;

#define CHECK(ok) \
  ((ok) ? (void)0 : (void)(fprintf(stderr, "capi_bundle: failed: %s\n", #ok), failures++))

static int same(const char *a, const char *b) { return a != NULL && strcmp(a, b) == 0; }

int main(void) {
  txn *t;
  char *all;

  CHECK(init_client() == 1);
  t = newBundle();
  put(t, "AMOUNT", "100");
  put_ClientID(t, "10000001");
  put_CertificatePath(t, "/nonexistent/client.p12");
  put_CertificatePassword(t, "secret");
  setPort(t, "8443");
  setServers(t, "alpha, beta;gamma");
  CHECK(same(get(t, "AMOUNT"), "100"));
  CHECK(get(t, "MISSING") == NULL);
  CHECK(same(get(t, "SERVERPORT"), "8443"));
  CHECK(same(get(t, "CLIENTID"), "10000001"));
  CHECK(same(get(t, "SERVER2"), "gamma") && same(get(t, "SERVERCOUNT"), "3"));

  all = get(t, "theWorks");
  CHECK(all != NULL && strstr(all, "AMOUNT=100\r\n") != NULL);
  CHECK(all != NULL && strstr(all, "_CERTIFICATEPASSWORD=secret\r\n") != NULL);
  free(all);

  CHECK(flushBundle(t) != NULL);
  CHECK(get(t, "AMOUNT") == NULL);
  put(t, "AMOUNT", "200");
  CHECK(same(get(t, "AMOUNT"), "200"));
  cleanup(t);

  CHECK(free_client() == 1);
  CHECK(init_client() == 1);
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
