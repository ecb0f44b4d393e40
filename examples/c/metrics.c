/*
** Metrics: an event handler turns what execute() does into counters and a
** latency histogram, printed in the Prometheus text exposition format
** once the purchases are done (a real program would serve them on
** /metrics). Every binding's events come from this same hook.
** Usage: metrics SERVERS PORT CERTIFICATE CAFILE [PURCHASES]
**   e.g. metrics "gw1.example.com, gw2.example.com" 8443 client.p12 ca.pem 10
** Exit status: 0 when every purchase was approved, 1 otherwise.
*/
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "gateway.h"

/* Upper bounds of the latency buckets, in milliseconds. */
static const long long kBucketsMs[] = {10, 25, 50, 100, 250, 500, 1000, 2500, 5000, 10000, 30000};
#define BUCKETS ((int)(sizeof(kBucketsMs) / sizeof(kBucketsMs[0])))

static const char *const kOutcomeNames[] = {"none", "approved", "declined", "no_decision", "unknown"};
#define OUTCOMES ((int)(sizeof(kOutcomeNames) / sizeof(kOutcomeNames[0])))

struct metrics {
  long handshakesFull, handshakesResumed;
  long serverAttempts, failovers;
  long statusChecks;
  long outcomes[OUTCOMES];
  long latencyBuckets[BUCKETS]; /* each counts the executes up to its bound */
  long long latencySumMs;
  long latencyCount;
  int attemptPending; /* a server was tried and no handshake followed yet */
};

/* True when the library filled FIELD of EVENT: older libraries fill less. */
#define HAS_FIELD(event, field) \
  ((size_t)(event)->size >= offsetof(zelvan_event, field) + sizeof((event)->field))

/*
** Called by the library during execute(), on its thread: only counts, so
** that the payment is not slowed down.
*/
static void countEvent(const zelvan_event *event, void *user) {
  struct metrics *m = user;
  int i;
  switch (event->type) {
    case ZELVAN_EVENT_SERVER_TRIED:
      /* A server tried while the one before it never got to a handshake
      ** is a fail-over; the status checks' own connections are not. */
      m->serverAttempts++;
      if (m->attemptPending) m->failovers++;
      m->attemptPending = 1;
      break;
    case ZELVAN_EVENT_HANDSHAKE_DONE:
      if (!HAS_FIELD(event, resumed)) break;
      if (event->resumed) m->handshakesResumed++; else m->handshakesFull++;
      m->attemptPending = 0;
      break;
    case ZELVAN_EVENT_STATUS_CHECK:
      m->statusChecks++;
      break;
    case ZELVAN_EVENT_OUTCOME:
      if (HAS_FIELD(event, outcome) && event->outcome >= 0 && event->outcome < OUTCOMES) m->outcomes[event->outcome]++;
      for (i = 0; i < BUCKETS; i++) {
        if (event->elapsed_ms <= kBucketsMs[i]) m->latencyBuckets[i]++;
      }
      m->latencySumMs += event->elapsed_ms;
      m->latencyCount++;
      m->attemptPending = 0;
      break;
    default: /* connections, messages and later libraries' events */
      break;
  }
}

static void printCounter(const char *name, const char *help, const char *label, const char *const *values,
                         const long *counts, int n) {
  int i;
  printf("# HELP zelvan_%s %s\n# TYPE zelvan_%s counter\n", name, help, name);
  if (label == NULL) {
    printf("zelvan_%s %ld\n", name, counts[0]);
    return;
  }
  for (i = 0; i < n; i++) printf("zelvan_%s{%s=\"%s\"} %ld\n", name, label, values[i], counts[i]);
}

static void printMetrics(const struct metrics *m) {
  static const char *const kinds[] = {"full", "resumed"};
  long handshakes[2];
  int i;
  handshakes[0] = m->handshakesFull;
  handshakes[1] = m->handshakesResumed;
  printCounter("handshakes_total", "TLS handshakes completed, full or resumed.", "kind", kinds, handshakes, 2);
  printCounter("server_attempts_total", "Server addresses tried.", NULL, NULL, &m->serverAttempts, 1);
  printCounter("failovers_total", "Servers tried after the one before failed.", NULL, NULL, &m->failovers, 1);
  printCounter("status_checks_total", "Status checks begun.", NULL, NULL, &m->statusChecks, 1);
  /* "none" never ends an execute(): it is left out. */
  printCounter("outcomes_total", "Executes by outcome.", "outcome", kOutcomeNames + 1, m->outcomes + 1,
               OUTCOMES - 1);
  printf("# HELP zelvan_execute_latency_ms Time of execute() in milliseconds.\n"
         "# TYPE zelvan_execute_latency_ms histogram\n");
  for (i = 0; i < BUCKETS; i++) {
    printf("zelvan_execute_latency_ms_bucket{le=\"%lld\"} %ld\n", kBucketsMs[i], m->latencyBuckets[i]);
  }
  printf("zelvan_execute_latency_ms_bucket{le=\"+Inf\"} %ld\n", m->latencyCount);
  printf("zelvan_execute_latency_ms_sum %lld\n", m->latencySumMs);
  printf("zelvan_execute_latency_ms_count %ld\n", m->latencyCount);
}

int main(int argc, char **argv) {
  struct metrics m;
  int purchases = argc > 5 ? atoi(argv[5]) : 5;
  int i, approved = 0;
  memset(&m, 0, sizeof(m));
  for (i = 0; i < purchases; i++) {
    char order[32];
    txn *t = newGatewayTransaction(argc, argv, 5, " [PURCHASES]");
    if (t == NULL) return 1;
    zelvanclient_set_event_handler(t, countEvent, &m);
    snprintf(order, sizeof(order), "metrics-%d", i + 1);
    put(t, "TRANSACTIONTYPE", "PURCHASE");
    put(t, "CARDDATA", "4111111111111111");
    put(t, "CARDEXPIRYDATE", "1230");
    put(t, "AMOUNT", "1.00");
    put(t, "ORDERID", order);
    execute(t);
    if (zelvanclient_outcome(t) == ZELVAN_OUTCOME_APPROVED) approved++;
    /* Standard output is the metrics' alone. */
    fprintf(stderr, "%s: %s\n", order, field(t, zelvanclient_outcome(t) == ZELVAN_OUTCOME_APPROVED ? "RESPONSETEXT" : "ERROR"));
    cleanup(t);
  }
  printMetrics(&m);
  return approved == purchases ? 0 : 1;
}
