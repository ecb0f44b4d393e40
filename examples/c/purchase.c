/*
** A purchase: charges a card and says whether the gateway approved it.
** Usage: purchase SERVERS PORT CERTIFICATE CAFILE [CARD AMOUNT]
** Exit status: 0 approved, 1 declined, 2 no decision, 3 outcome unknown.
*/
#include <stdio.h>

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

  /* The library says what became of the payment; the fields say why. */
  execute(t);
  switch (zelvanclient_outcome(t)) {
    case ZELVAN_OUTCOME_APPROVED:
    case ZELVAN_OUTCOME_DECLINED:
      status = zelvanclient_outcome(t) == ZELVAN_OUTCOME_APPROVED ? 0 : 1;
      printf("%s: %s, reference %s, card %s\n", status == 0 ? "approved" : "declined",
             field(t, "RESPONSETEXT"), field(t, "TXNREFERENCE"), field(t, "CARDDATA"));
      break;
    case ZELVAN_OUTCOME_NO_DECISION:
      /* Nothing was charged: the purchase may be run again. */
      printf("no decision: %s (%s)\n", field(t, "ERROR"), field(t, "ERROR_DETAIL"));
      status = 2;
      break;
    default:
      /* The gateway may have charged the card: never charge again before
      ** asking for its status (see status.c). */
      printf("outcome unknown: %s, reference %s\n", field(t, "ERROR"), field(t, "TXNREFERENCE"));
      status = 3;
  }
  cleanup(t);
  return status;
}
