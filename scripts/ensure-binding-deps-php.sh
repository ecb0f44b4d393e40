#!/bin/sh
# Installs what the PHP binding's tests and packaging need: php8.2-cli,
# whose FFI extension is on by default, and Composer with the zip
# extension that its artifact repositories read (make dist builds one,
# tests/packaging/test_dist.py installs from it). Does nothing when they
# are present.
set -e
missing=""
php -r "exit(extension_loaded('FFI') ? 0 : 1);" >/dev/null 2>&1 || missing="$missing php8.2-cli"
php -r "exit(extension_loaded('zip') ? 0 : 1);" >/dev/null 2>&1 || missing="$missing php8.2-zip"
command -v composer >/dev/null 2>&1 || missing="$missing composer"
[ -z "$missing" ] && exit 0
# shellcheck disable=SC2086
sh "$(dirname "$0")/apt-install.sh" "the PHP binding" $missing
