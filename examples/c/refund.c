/*
** A refund: gives an amount back to a card, for the order it was paid for.
** Usage: refund SERVERS PORT CERTIFICATE CAFILE ORDERID AMOUNT
** Exit status: 0 approved, 1 declined, 2 no decision, 3 outcome unknown.
*/
#include <stdio.h>

#include "gateway.h"

int main(int argc, char **argv) {
  txn *t = newGatewayTransaction(argc, argv, 7, " ORDERID AMOUNT");
  int status;
  if (t == NULL) return 2;
  put(t, "TRANSACTIONTYPE", "REFUND");
  put(t, "CARDDATA", "4111111111111111");
  put(t, "CARDEXPIRYDATE", "1230");
  put(t, "ORDERID", argv[5]);
  put(t, "AMOUNT", argv[6]);
  put(t, "CURRENCY", "EUR");

  execute(t);
  status = zelvanclient_outcome(t) - ZELVAN_OUTCOME_APPROVED; /* 0 to 3, as in the usage above */
  if (status <= 1) {
    printf("refund %s: %s, reference %s\n", status == 0 ? "approved" : "declined",
           field(t, "RESPONSETEXT"), field(t, "TXNREFERENCE"));
  } else {
    printf("%s: %s, reference %s\n", status == 2 ? "no decision" : "outcome unknown", field(t, "ERROR"),
           field(t, "TXNREFERENCE"));
  }
  cleanup(t);
  return status;
}
