#!/bin/bash
# make dist: every artifact a consumer installs, in one directory:
#   scripts/dist.sh OUTPUT_DIR DEB_BUILD_DIR INSTALL_BUILD_DIR
# OUTPUT_DIR is emptied first. Each kind of artifact has a dist_<kind>
# function, run in the order of ARTIFACTS; the Python wheel and sdist, the
# npm tarball, the Composer package, the Java jar and pom and the Go module
# come the same way. SHA256SUMS lists every file.
set -euo pipefail

OUT=$1
DEB_BUILD=$2
INSTALL_BUILD=$3
# shellcheck source=/dev/null
. "$INSTALL_BUILD/package-info.sh"
ARTIFACTS="debian c_tarball"

# The Debian packages of make deb.
dist_debian() {
  cp "$DEB_BUILD"/*.deb "$OUT/"
}

# The installed tree for C and C++ consumers, relocatable: the .pc file
# and the CMake package find their prefix from their own place, and the
# programs find the library through a run path relative to theirs.
dist_c_tarball() {
  local name stage
  name=zelvanclient-$ZV_VERSION-linux-$(uname -m)
  stage=$(mktemp -d)
  cmake --install "$INSTALL_BUILD" --prefix "$stage/$name" --strip >/dev/null
  tar --sort=name --owner=0 --group=0 --numeric-owner -C "$stage" -czf "$OUT/$name.tar.gz" "$name"
  rm -rf "$stage"
}

rm -rf "$OUT"
mkdir -p "$OUT"
for artifact in $ARTIFACTS; do
  "dist_$artifact"
done
(cd "$OUT" && sha256sum -- * >SHA256SUMS)
ls -1 "$OUT"
