#!/bin/sh
# Installs tinyproxy, the HTTP proxy that the tunnel tests run on loopback.
# Does nothing when it is present.
set -e
if command -v tinyproxy >/dev/null 2>&1 || [ -x /usr/bin/tinyproxy ] ||
   [ -x /usr/sbin/tinyproxy ]; then
  exit 0
fi
# tinyproxy-bin is the program without the system service that the
# tinyproxy package also starts; the tests start their own proxies.
package=tinyproxy
apt-cache show tinyproxy-bin >/dev/null 2>&1 && package=tinyproxy-bin
sh "$(dirname "$0")/apt-install.sh" "the proxy tests" "$package"
