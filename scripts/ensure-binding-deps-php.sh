#!/bin/sh
# Installs what the PHP binding's tests need (php8.2-cli, whose FFI
# extension is on by default). Does nothing when php with FFI is present.
set -e
php -r "exit(extension_loaded('FFI') ? 0 : 1);" >/dev/null 2>&1 ||
  sh "$(dirname "$0")/binding-deps-apt.sh" PHP php8.2-cli
