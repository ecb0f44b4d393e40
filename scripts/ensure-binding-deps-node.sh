#!/bin/sh
# Installs what the Node.js binding (bindings/node) and its tests need:
# Node.js and npm from Debian's archive, then the package's koffi
# dependency from the npm registry, as pinned by its package-lock.json.
# Does nothing when both are present. Run as root for apt-get.
set -e
cd "$(dirname "$0")/../bindings/node"

if ! command -v node >/dev/null 2>&1 || ! command -v npm >/dev/null 2>&1; then
  if [ "$(id -u)" != 0 ]; then
    echo "Node.js binding: install nodejs and npm (sudo apt-get install nodejs npm)" >&2
    exit 1
  fi
  echo "Installing nodejs and npm for the Node.js binding"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq || true
  apt-get install -y -qq --no-install-recommends nodejs npm
fi

if ! node -e 'require("koffi")' >/dev/null 2>&1; then
  npm ci --omit=dev --no-audit --no-fund
fi
