#!/bin/bash
# Runs every fuzz target of build-fuzz/ for FUZZ_SECONDS seconds each,
# starting from the checked-in seeds (fuzz/corpus/<target>, never written
# to) and from what earlier runs found (build-fuzz/corpus/<target>).
# Prints one line per target with the inputs it ran; fails when a target
# crashes, leaks or breaks an invariant, leaving the input that did it in
# build-fuzz/crashes/.
set -uo pipefail
cd "$(dirname "$0")/.."

FUZZ_BUILD=${FUZZ_BUILD:-build-fuzz}
FUZZ_SECONDS=${FUZZ_SECONDS:-60}
FUZZ_TARGETS=${FUZZ_TARGETS:-$(cd "$FUZZ_BUILD" && ls fuzz_* 2>/dev/null | grep -v '\.' | tr '\n' ' ')}

[ -n "$FUZZ_TARGETS" ] || { echo "no fuzz targets in $FUZZ_BUILD" >&2; exit 1; }
mkdir -p "$FUZZ_BUILD/crashes" "$FUZZ_BUILD/logs"

failed=0
for target in $FUZZ_TARGETS; do
  work="$FUZZ_BUILD/corpus/$target"
  seeds="fuzz/corpus/$target"
  log="$FUZZ_BUILD/logs/$target.log"
  mkdir -p "$work"
  [ -d "$seeds" ] || seeds=""
  # -timeout: an input that takes over 10 s counts as a hang.
  "$FUZZ_BUILD/$target" -max_total_time="$FUZZ_SECONDS" -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$FUZZ_BUILD/crashes/$target-" "$work" $seeds >"$log" 2>&1
  status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  if [ $status -eq 0 ]; then
    echo "fuzz: $target: ${runs:-0} inputs in ${FUZZ_SECONDS} s, no failure"
  else
    echo "fuzz: $target: FAILED (exit $status) after ${runs:-?} inputs; see $log"
    grep -E 'ERROR|invariant broken|Test unit written' "$log" | head -5
    failed=1
  fi
done
exit $failed
