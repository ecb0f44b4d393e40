/*
** A purchase: charges a card and says whether the gateway approved it.
** Usage: purchase SERVERS PORT CERTIFICATE CAFILE [CARD AMOUNT]
** Exit status: 0 approved, 1 declined, 2 no decision.
*/
#include <stdio.h>
#include <string.h>

#include "gateway.h"

int main(int argc, char **argv) {
  txn *t = newGatewayTransaction(argc, argv, 5, " [CARD AMOUNT]");
  int status;
  if (t == NULL) return 2;
  put(t, "TRANSACTIONTYPE", "PURCHASE");
  put(t, "CARDDATA", argc > 6 ? argv[5] : "4111111111111111");
  put(t, "CARDEXPIRYDATE", "1230");
  put(t, "CVC2", "123");
  put(t, "AMOUNT", argc > 6 ? argv[6] : "12.50");
  put(t, "CURRENCY", "EUR");
  put(t, "ORDERID", "example-purchase");

  /* execute() returns 1 when the exchange ran to its end; the gateway's
  ** decision is in RESULT, and only an answer without ERROR is one. */
  if (execute(t) == 1 && get(t, "ERROR") == NULL) {
    int approved = strcmp(field(t, "RESULT"), "0") == 0;
    printf("%s: %s, reference %s, card %s\n", approved ? "approved" : "declined",
           field(t, "RESPONSETEXT"), field(t, "TXNREFERENCE"), field(t, "CARDDATA"));
    status = approved ? 0 : 1;
  } else {
    /* With a TXNREFERENCE the gateway may have decided: never charge again
    ** before asking for its status (see status.c). */
    printf("no decision: %s (%s), reference %s\n", field(t, "ERROR"), field(t, "ERROR_DETAIL"),
           field(t, "TXNREFERENCE"));
    status = 2;
  }
  cleanup(t);
  return status;
}
