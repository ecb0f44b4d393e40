#!/bin/sh
# binding-deps-apt.sh <binding> <package>...: installs Debian packages for
# a language binding with apt-get as root; otherwise names them and fails.
set -e
binding=$1; shift
if [ "$(id -u)" != 0 ]; then
  echo "$binding binding: install $* (sudo apt-get install $*)" >&2
  exit 1
fi
echo "Installing $* for the $binding binding"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || true
apt-get install -y -qq --no-install-recommends "$@"
