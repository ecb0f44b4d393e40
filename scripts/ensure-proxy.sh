#!/bin/sh
# Installs tinyproxy, the HTTP proxy that the tunnel tests run on loopback.
# Does nothing when it is present. As another user than root it only names
# the package: the proxy tests then report themselves skipped.
set -e
if command -v tinyproxy >/dev/null 2>&1 || [ -x /usr/bin/tinyproxy ] ||
   [ -x /usr/sbin/tinyproxy ]; then
  exit 0
fi
if [ "$(id -u)" != 0 ] || ! command -v apt-get >/dev/null 2>&1; then
  echo "proxy tests: they need tinyproxy (sudo apt-get install tinyproxy)" >&2
  exit 0
fi
echo "Installing tinyproxy for the proxy tests"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || true
# tinyproxy-bin is the program without the system service that the
# tinyproxy package also starts; the tests start their own proxies. Other
# helpers may be installing at the same time, hence the wait for the lock.
package=tinyproxy
apt-cache show tinyproxy-bin >/dev/null 2>&1 && package=tinyproxy-bin
apt-get install -y -qq --no-install-recommends -o DPkg::Lock::Timeout=300 "$package"
