#!/bin/sh
# Installs what the Python binding's packaging needs on top of the build's
# dependencies: venv with its ensurepip (python3-venv) and Debian's wheel
# file (python3-wheel-whl), from which make dist and the packaging tests
# build and install the package without a package index. Does nothing when
# both are present.
set -e
missing=""
python3 -c 'import ensurepip' >/dev/null 2>&1 || missing="$missing python3-venv"
ls /usr/share/python-wheels/wheel-*.whl >/dev/null 2>&1 || missing="$missing python3-wheel-whl"
[ -z "$missing" ] && exit 0
# shellcheck disable=SC2086
sh "$(dirname "$0")/apt-install.sh" "the Python binding" $missing
