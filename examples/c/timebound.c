/*
** A time bound around execute() in a single-threaded program.
**
** A server that accepts the connection but never completes the TLS
** handshake would hold execute() indefinitely. An alarm whose handler is
** installed without SA_RESTART interrupts the stalled handshake: the
** server then counts as failed and the next one of the list is tried. A
** wait for a reply that the alarm interrupts is resumed, so a late alarm
** does no harm; the reply waits have bounds of their own (about 30 s).
** Usage: timebound SERVERS PORT CERTIFICATE CAFILE SECONDS
** Exit status: 0 approved, 1 otherwise.
*/
#define _POSIX_C_SOURCE 200809L

#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "gateway.h"

/* The handler only has to exist: its delivery interrupts the blocked call. */
static void onAlarm(int signo) { (void)signo; }

int main(int argc, char **argv) {
  txn *t = newGatewayTransaction(argc, argv, 6, " SECONDS");
  struct sigaction action, previous;
  int approved;
  if (t == NULL) return 1;
  put(t, "TRANSACTIONTYPE", "PURCHASE");
  put(t, "CARDDATA", "4111111111111111");
  put(t, "AMOUNT", "4.00");

  memset(&action, 0, sizeof action);
  action.sa_handler = onAlarm;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0; /* no SA_RESTART: blocked calls return EINTR */
  sigaction(SIGALRM, &action, &previous);
  alarm((unsigned)atoi(argv[5]));
  execute(t);
  approved = zelvanclient_outcome(t) == ZELVAN_OUTCOME_APPROVED;
  alarm(0);
  sigaction(SIGALRM, &previous, NULL);

  printf("%s: %s\n", approved ? "approved" : "not approved", approved ? field(t, "TXNREFERENCE")
                                                                       : field(t, "ERROR"));
  cleanup(t);
  return approved ? 0 : 1;
}
