#!/bin/sh
# run.sh SOURCE_DIR: the PHP binding's tests, or "skipped" (77) when php
# with the FFI extension (Debian php8.2-cli, installed by
# scripts/ensure-binding-deps-php.sh) is missing when they run.
php -r "exit(extension_loaded('FFI') ? 0 : 1);" >/dev/null 2>&1 ||
  { echo "skipped: php with the FFI extension is not installed (scripts/ensure-binding-deps-php.sh)"; exit 77; }
exec php "$1/bindings/php/tests/TransactionTest.php"
