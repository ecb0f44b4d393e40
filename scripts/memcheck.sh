#!/bin/bash
# The leak check: MEMCHECK_COUNT transactions (200 by default) in one
# process, zv-txn-loop under valgrind's memcheck, against gateway
# simulators on 127.0.0.1 that make it take every path: full and resumed
# handshakes, approvals, declines, refunds, a lost final response with its
# status check, a gateway error, a missing field, a refused connection,
# all with the debug log on. Fails on any memory error and on any block
# definitely or indirectly lost.
set -uo pipefail
cd "$(dirname "$0")/.."

BUILD=${BUILD:-build}
COUNT=${MEMCHECK_COUNT:-200}
work=$(mktemp -d /tmp/zv-memcheck-XXXXXX)
sims=()

finish() {
  for pid in "${sims[@]}"; do kill "$pid" 2>/dev/null; done
  for pid in "${sims[@]}"; do wait "$pid" 2>/dev/null; done
  # The session store segment of the certificate.
  if [ -f "$work/certs/client.p12" ]; then
    "$BUILD/zelvan-session-key" --remove "$work/certs/client.p12"
  fi
  rm -rf "$work"
}
trap finish EXIT

# start_sim NAME ARGS...: starts a simulator and sets port_NAME.
start_sim() {
  local name=$1; shift
  "$BUILD/zelvan-gateway-sim" --cert "$work/certs/server.pem" --key "$work/certs/server-key.pem" \
    --ca "$work/certs/ca.pem" --port 0 --stats "$work/stats-$name" "$@" >"$work/sim-$name.out" 2>"$work/sim-$name.err" &
  sims+=($!)
  for _ in $(seq 200); do
    port=$(sed -n 's/^LISTENING //p' "$work/sim-$name.out")
    [ -n "$port" ] && { eval "port_$name=$port"; return 0; }
    sleep 0.05
  done
  echo "memcheck: the $name simulator did not start" >&2
  cat "$work/sim-$name.err" >&2
  exit 1
}

"$BUILD/zelvan-certgen" "$work/certs" >/dev/null || exit 1
start_sim plain
start_sim full --no-resume
start_sim lossy --fault close-before-final
start_sim erring --fault first-error
closed=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')

plan="approve@$port_plain,decline@$port_plain,refund@$port_full,approve@$port_lossy"
plan="$plan,approve@$port_erring,notype@$port_plain,approve@$closed,approve@$port_full"

valgrind --tool=memcheck --leak-check=full --show-leak-kinds=definite,indirect \
  --errors-for-leak-kinds=definite,indirect --error-exitcode=99 --num-callers=30 \
  --log-file="$work/valgrind.log" \
  "$BUILD/zv-txn-loop" --cert "$work/certs/client.p12" --password zelvan-test --ca "$work/certs/ca.pem" \
  --count "$COUNT" --log "$work/debug.log" --plan "$plan" >"$work/loop.out"
status=$?

summary=$(grep '^transactions=' "$work/loop.out")
definite=$(sed -n 's/.*definitely lost: \([0-9,]*\) bytes.*/\1/p' "$work/valgrind.log" | tr -d ,)
indirect=$(sed -n 's/.*indirectly lost: \([0-9,]*\) bytes.*/\1/p' "$work/valgrind.log" | tr -d ,)
errors=$(sed -n 's/.*ERROR SUMMARY: \([0-9,]*\) errors.*/\1/p' "$work/valgrind.log" | tr -d ,)
# Handshakes as the simulators counted them, over all of them.
handshakes() { awk -F= -v key="handshakes_$1" '$1 == key { n += $2 } END { print n + 0 }' "$work"/stats-*; }
echo "memcheck: $summary"
echo "memcheck: handshakes: $(handshakes full) full, $(handshakes resumed) resumed"
echo "memcheck: definitely lost ${definite:-0} bytes, indirectly lost ${indirect:-0} bytes, ${errors:-?} errors"
if [ $status -ne 0 ]; then
  echo "memcheck: FAILED (exit $status)"
  cat "$work/valgrind.log"
  exit 1
fi
