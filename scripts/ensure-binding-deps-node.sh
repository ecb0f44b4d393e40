#!/bin/sh
# Installs what the Node.js binding (bindings/node) and its tests need:
# Node.js and npm from Debian's archive, then the package's koffi
# dependency from the npm registry, as pinned by its package-lock.json.
# Does nothing when both are present. Run as root for apt-get.
set -e
scripts=$(dirname "$0")
if ! command -v node >/dev/null 2>&1 || ! command -v npm >/dev/null 2>&1; then
  sh "$scripts/apt-install.sh" "the Node.js binding" nodejs npm
fi
cd "$scripts/../bindings/node"
node -e 'require("koffi")' >/dev/null 2>&1 || npm ci --omit=dev --no-audit --no-fund
