/*
** What every example program does first: a transaction handle set up for
** the merchant's gateway. Usage of the programs starts with the same four
** words: SERVERS PORT CERTIFICATE CAFILE. The certificate's password comes
** from the environment variable ZELVAN_CERT_PASSWORD, never from the
** command line, where other users of the machine could read it.
*/
#ifndef EXAMPLES_GATEWAY_H_
#define EXAMPLES_GATEWAY_H_

#include <stdio.h>
#include <stdlib.h>

#include <zelvanclient.h>

#define GATEWAY_USAGE "SERVERS PORT CERTIFICATE CAFILE"

/*
** Returns a new handle with the gateway settings from ARGV[1..4], or NULL
** after printing the usage when ARGC is below NEEDED. The caller destroys
** the handle with cleanup().
*/
static txn *newGatewayTransaction(int argc, char **argv, int needed, const char *moreUsage) {
  const char *password = getenv("ZELVAN_CERT_PASSWORD");
  txn *t;
  if (argc < needed) {
    fprintf(stderr, "usage: %s " GATEWAY_USAGE "%s\n", argv[0], moreUsage);
    return NULL;
  }
  t = newBundle();
  setServers(t, argv[1]);
  setPort(t, argv[2]);
  put_CertificatePath(t, argv[3]);
  put_CertificatePassword(t, password ? password : "");
  put(t, "_CAFILE", argv[4]);       /* verify the gateway's certificate */
  put_ClientID(t, "10000001");
  return t;
}

/* A field's text for printing: "-" when the bundle has no such field. */
static const char *field(txn *t, const char *name) {
  const char *value = get(t, name);
  return value ? value : "-";
}

#endif
