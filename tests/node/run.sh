#!/bin/sh
# run.sh: the Node.js binding's tests, run in bindings/node, or "skipped"
# (77) when Node.js or the package's koffi dependency is missing when they
# run (scripts/ensure-binding-deps-node.sh installs both).
node=$(command -v node || command -v nodejs) ||
  { echo "skipped: Node.js is not installed (scripts/ensure-binding-deps-node.sh)"; exit 77; }
"$node" -e 'require("koffi")' >/dev/null 2>&1 ||
  { echo "skipped: koffi is not installed (scripts/ensure-binding-deps-node.sh)"; exit 77; }
exec "$node" --test test/
