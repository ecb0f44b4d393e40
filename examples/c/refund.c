/*
** A refund: gives an amount back to a card, for the order it was paid for.
** Usage: refund SERVERS PORT CERTIFICATE CAFILE ORDERID AMOUNT
** Exit status: 0 approved, 1 declined, 2 no decision.
*/
#include <stdio.h>
#include <string.h>

#include "gateway.h"

int main(int argc, char **argv) {
  txn *t = newGatewayTransaction(argc, argv, 7, " ORDERID AMOUNT");
  int executed, status;
  if (t == NULL) return 2;
  put(t, "TRANSACTIONTYPE", "REFUND");
  put(t, "CARDDATA", "4111111111111111");
  put(t, "CARDEXPIRYDATE", "1230");
  put(t, "ORDERID", argv[5]);
  put(t, "AMOUNT", argv[6]);
  put(t, "CURRENCY", "EUR");

  executed = execute(t);
  if (executed == 1 && get(t, "ERROR") == NULL) {
    status = strcmp(field(t, "RESULT"), "0") == 0 ? 0 : 1;
    printf("refund %s: %s, reference %s\n", status == 0 ? "approved" : "declined",
           field(t, "RESPONSETEXT"), field(t, "TXNREFERENCE"));
  } else {
    printf("no decision: %s, reference %s\n", field(t, "ERROR"), field(t, "TXNREFERENCE"));
    status = 2;
  }
  cleanup(t);
  return status;
}
