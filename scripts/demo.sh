#!/bin/bash
# make demo: runs a purchase and a refund through zelvan-txn against the
# gateway simulator on 127.0.0.1, with demo certificates and the debug log on.
set -euo pipefail

BUILD=${BUILD:-build}
DEMO=$BUILD/demo
SIM=$BUILD/zelvan-gateway-sim
TXN=$BUILD/zelvan-txn
CERTGEN=$BUILD/zelvan-certgen
SESSION_KEY=$BUILD/zelvan-session-key

rm -rf "$DEMO"
mkdir -p "$DEMO"
"$CERTGEN" "$DEMO/certs" >/dev/null
# Absolute paths, so that the printed commands can be pasted from any
# directory while the demo's simulator runs.
DEMO=$(cd "$DEMO" && pwd)
TXN=$(cd "$(dirname "$TXN")" && pwd)/$(basename "$TXN")
LOG=$DEMO/zelvan-debug.log

"$SIM" --cert "$DEMO/certs/server.pem" --key "$DEMO/certs/server-key.pem" \
  --ca "$DEMO/certs/ca.pem" --port 0 --stats "$DEMO/sim-stats.txt" >"$DEMO/sim-output.txt" 2>&1 &
SIM_PID=$!
stop_sim() { kill -TERM "$SIM_PID" 2>/dev/null || true; wait "$SIM_PID" 2>/dev/null || true; }
# Removes the System V segment in which the library kept the TLS session of
# the demo certificate: a new demo run makes new certificate files, so the
# segment would only be left behind.
remove_session_store() { "$SESSION_KEY" --remove "$DEMO/certs/client.p12" || true; }
finish() { stop_sim; remove_session_store; }
trap finish EXIT

PORT=""
for _ in $(seq 100); do
  # The simulator's shell may not have created its output file yet.
  PORT=$(sed -n 's/^LISTENING \([0-9]*\)$/\1/p' "$DEMO/sim-output.txt" 2>/dev/null || true)
  [ -n "$PORT" ] && break
  sleep 0.1
done
[ -n "$PORT" ] || { echo "the simulator did not start:"; cat "$DEMO/sim-output.txt"; exit 1; }
echo "Gateway simulator listening on 127.0.0.1:$PORT"
echo "To run the same commands yourself, start it again in another terminal:"
echo "\$ $(cd "$(dirname "$SIM")" && pwd)/$(basename "$SIM") --cert $DEMO/certs/server.pem --key $DEMO/certs/server-key.pem --ca $DEMO/certs/ca.pem --port $PORT"

export ZELVAN_CERT_PASSWORD=zelvan-test
echo "\$ export ZELVAN_CERT_PASSWORD=$ZELVAN_CERT_PASSWORD"
run() {
  local title=$1; shift
  echo
  echo "== $title"
  echo "\$ $TXN -s 127.0.0.1 -p $PORT -c $DEMO/certs/client.p12 -a $DEMO/certs/ca.pem -l $LOG $*"
  local status=0
  "$TXN" -s 127.0.0.1 -p "$PORT" -c "$DEMO/certs/client.p12" -a "$DEMO/certs/ca.pem" -l "$LOG" "$@" || status=$?
  echo "-> exit status $status"
  [ "$status" = 0 ] || FAILED="$FAILED $title"
}
# The demo's transactions are all approved: any other exit status (a
# decline, an error, a crash) makes the demo fail once it has shown them all.
FAILED=""

run "Purchase" CLIENTID=10000001 TRANSACTIONTYPE=PURCHASE CARDDATA=4111111111111111 \
  CARDEXPIRYDATE=1230 CVC2=123 AMOUNT=12.50 CURRENCY=EUR ORDERID=demo-1
run "Refund" CLIENTID=10000001 TRANSACTIONTYPE=REFUND CARDDATA=4111111111111111 \
  CARDEXPIRYDATE=1230 AMOUNT=2.50 CURRENCY=EUR ORDERID=demo-1

finish
trap - EXIT
echo
echo "Simulator counters:"
sed 's/^/  /' "$DEMO/sim-stats.txt"
echo
echo "Debug log: $LOG"
if [ -n "$FAILED" ]; then
  echo "demo: not approved:$FAILED" >&2
  exit 1
fi
