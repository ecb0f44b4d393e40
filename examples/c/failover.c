/*
** Fail-over: the library tries the servers of the list in order and uses
** the first that accepts a connection and the TLS handshake. This program
** runs a purchase and names the server that answered.
** Usage: failover SERVERS PORT CERTIFICATE CAFILE
**   e.g. failover "gw1.example.com, gw2.example.com" 8443 client.p12 ca.pem
** Exit status: 0 approved, 1 otherwise.
*/
#include <stdio.h>

#include "gateway.h"

int main(int argc, char **argv) {
  txn *t = newGatewayTransaction(argc, argv, 5, "");
  int approved;
  if (t == NULL) return 1;
  printf("servers to try: %s\n", field(t, "SERVERCOUNT"));
  put(t, "TRANSACTIONTYPE", "PURCHASE");
  put(t, "CARDDATA", "5555555555554444");
  put(t, "AMOUNT", "3.00");

  /* Each server that refuses or fails costs up to 5 seconds for the
  ** connection; the debug log has one line per server tried. */
  execute(t);
  approved = zelvanclient_outcome(t) == ZELVAN_OUTCOME_APPROVED;
  printf("answered by %s: %s\n", field(t, "SERVER"), approved ? "approved" : field(t, "ERROR"));
  cleanup(t);
  return approved ? 0 : 1;
}
