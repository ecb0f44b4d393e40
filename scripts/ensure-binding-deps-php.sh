#!/bin/sh
# Installs what the PHP binding's tests need (php8.2-cli, whose FFI
# extension is on by default) as root with apt-get. Does nothing when php
# with FFI is present; as another user it only says what is missing, since
# the binding's tests are then reported as skipped.
set -e

if command -v php >/dev/null 2>&1 && php -r "exit(extension_loaded('FFI') ? 0 : 1);" 2>/dev/null; then
  exit 0
fi
if [ "$(id -u)" != 0 ] || ! command -v apt-get >/dev/null 2>&1; then
  echo "The PHP binding's tests need php8.2-cli: sudo apt-get install php8.2-cli" >&2
  exit 0
fi
echo "Installing php8.2-cli for the PHP binding's tests"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || true
apt-get install -y -qq --no-install-recommends php8.2-cli
