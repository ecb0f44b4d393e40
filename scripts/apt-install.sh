#!/bin/sh
# apt-install.sh <what> <package>...: installs Debian packages that <what>
# (e.g. "the Java binding", "the proxy tests") needs, with apt-get as root.
# As another user it only names them: those tests then report themselves
# skipped. Other scripts may be installing at the same time, hence the wait
# for dpkg's lock.
set -e
what=$1; shift
if [ "$(id -u)" != 0 ] || ! command -v apt-get >/dev/null 2>&1; then
  echo "missing for $what: $* (sudo apt-get install $*)" >&2
  exit 0
fi
echo "Installing $* for $what"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || true
apt-get install -y -qq --no-install-recommends -o DPkg::Lock::Timeout=300 "$@"
