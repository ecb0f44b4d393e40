#!/bin/sh
# run.sh: the Go binding's tests, run in bindings/go, or "skipped" (77)
# when Go is missing when they run (scripts/ensure-binding-deps-go.sh
# installs it).
command -v go >/dev/null 2>&1 ||
  { echo "skipped: Go is not installed (scripts/ensure-binding-deps-go.sh)"; exit 77; }
exec go test -count=1 ./...
