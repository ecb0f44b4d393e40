/*
** A status enquiry: asks the gateway how a transaction ended, by the
** TXNREFERENCE the gateway gave it. This is what a merchant runs when a
** purchase or refund ended without a decision but with a reference.
** Usage: status SERVERS PORT CERTIFICATE CAFILE TXNREFERENCE
** Exit status: 0 approved, 1 declined, 2 still unknown.
*/
#include <stdio.h>

#include "gateway.h"

int main(int argc, char **argv) {
  txn *t = newGatewayTransaction(argc, argv, 6, " TXNREFERENCE");
  int status;
  if (t == NULL) return 2;
  put(t, "TRANSACTIONTYPE", "STATUS");
  put(t, "TXNREFERENCE", argv[5]);

  /* A status enquiry gets the outcome of the transaction it asks about.
  ** Anything but a decision (a gateway ERROR such as an unknown reference,
  ** or no answer at all) leaves that outcome unknown. */
  execute(t);
  if (zelvanclient_outcome(t) == ZELVAN_OUTCOME_APPROVED || zelvanclient_outcome(t) == ZELVAN_OUTCOME_DECLINED) {
    status = zelvanclient_outcome(t) == ZELVAN_OUTCOME_APPROVED ? 0 : 1;
    printf("transaction %s was %s: %s, auth code %s\n", argv[5], status == 0 ? "approved" : "declined",
           field(t, "RESPONSETEXT"), field(t, "AUTHCODE"));
  } else {
    printf("transaction %s: outcome still unknown: %s\n", argv[5], field(t, "ERROR"));
    status = 2;
  }
  cleanup(t);
  return status;
}
