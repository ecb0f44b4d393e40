#!/bin/sh
# Rewrites tests/abi/public-symbols.txt, the list of the dynamic symbols
# that libzelvanclient.so exports, from a built library. Run it after a
# deliberate change of the public surface (src/zelvanclient.map, a new
# exported function or class member) and commit the list with the change.
#
#   scripts/update-public-symbols.sh [LIBRARY]           rewrite the list
#   scripts/update-public-symbols.sh --check [LIBRARY]   compare only
#
# LIBRARY defaults to build/libzelvanclient.so. --check exits 1 and prints
# the difference when the library exports anything else.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
list="$root/tests/abi/public-symbols.txt"
check=no
if [ "${1:-}" = "--check" ]; then
  check=yes
  shift
fi
library=${1:-$root/build/libzelvanclient.so}

# Mangled names only: addresses and symbol kinds vary between builds.
current=$(mktemp)
trap 'rm -f "$current"' EXIT
nm -D --defined-only "$library" | awk '{ print $NF }' | LC_ALL=C sort -u >"$current"

if [ "$check" = no ]; then
  cp "$current" "$list"
  echo "wrote $(wc -l <"$list") symbols to $list"
  exit 0
fi
if ! diff -u "$list" "$current"; then
  echo "$library exports a different set of symbols than $list" >&2
  echo "('+' exported but not listed, '-' listed but not exported)." >&2
  echo "If the change is deliberate, run scripts/update-public-symbols.sh and commit the list." >&2
  exit 1
fi
echo "$(wc -l <"$current") exported symbols, as listed"
