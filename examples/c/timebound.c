/*
** A time bound around a whole payment.
**
** _TIMEOUT bounds execute() as a whole, status checks included: every wait
** (connecting, the handshake, each reply, the pauses between status
** checks) is cut to the time left, and when it runs out execute() returns
** at once with ERROR "TRANSACTION TIMED OUT". No signal or alarm is
** needed, so the bound is safe in threaded programs too. The outcome says
** what to do next: no decision (nothing was charged) or unknown (ask for
** the status of TXNREFERENCE later).
** Usage: timebound SERVERS PORT CERTIFICATE CAFILE MILLISECONDS
** Exit status: 0 approved, 1 otherwise.
*/
#include <stdio.h>

#include "gateway.h"

int main(int argc, char **argv) {
  txn *t = newGatewayTransaction(argc, argv, 6, " MILLISECONDS");
  int approved;
  if (t == NULL) return 1;
  put(t, "TRANSACTIONTYPE", "PURCHASE");
  put(t, "CARDDATA", "4111111111111111");
  put(t, "AMOUNT", "4.00");
  put(t, "_TIMEOUT", argv[5]);

  execute(t);
  approved = zelvanclient_outcome(t) == ZELVAN_OUTCOME_APPROVED;
  printf("%s: %s\n", approved ? "approved" : "not approved", approved ? field(t, "TXNREFERENCE")
                                                                       : field(t, "ERROR"));
  cleanup(t);
  return approved ? 0 : 1;
}
