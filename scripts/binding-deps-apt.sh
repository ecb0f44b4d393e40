#!/bin/sh
# binding-deps-apt.sh <binding> <package>...: installs Debian packages for
# a language binding with apt-get as root. As another user it only names
# them: the binding's tests then report themselves skipped.
set -e
binding=$1; shift
if [ "$(id -u)" != 0 ] || ! command -v apt-get >/dev/null 2>&1; then
  echo "$binding binding: its tests need $* (sudo apt-get install $*)" >&2
  exit 0
fi
echo "Installing $* for the $binding binding"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || true
apt-get install -y -qq --no-install-recommends "$@"
