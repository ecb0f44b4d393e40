#!/bin/sh
# Installs what the Go binding (bindings/go) and its tests need: Go from
# Debian's archive (cgo uses the C compiler and pkg-config that the build
# already needs). Does nothing when Go is present. Run as root for apt-get.
set -e
command -v go >/dev/null 2>&1 || sh "$(dirname "$0")/apt-install.sh" "the Go binding" golang-go
