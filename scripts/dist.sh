#!/bin/bash
# make dist: every artifact a consumer installs, in one directory:
#   scripts/dist.sh OUTPUT_DIR DEB_BUILD_DIR INSTALL_BUILD_DIR
# OUTPUT_DIR is emptied first. Each kind of artifact has a dist_<kind>
# function, run in the order of ARTIFACTS. Nothing here needs a package
# index but the npm registry, which gives the koffi tarball that the npm
# package depends on. Each binding's README gives the command that installs
# its artifact from OUTPUT_DIR; tests/packaging/test_dist.py runs those
# commands. SHA256SUMS lists every file, those in subdirectories included.
set -euo pipefail

OUT=$(realpath -m "$1")
DEB_BUILD=$2
INSTALL_BUILD=$3
SOURCE=$(cd "$(dirname "$0")/.." && pwd)
BINDINGS=$SOURCE/bindings
# shellcheck source=/dev/null
. "$INSTALL_BUILD/package-info.sh"
ARTIFACTS="debian c_tarball python node php java go"
STAGE=$(mktemp -d)
trap 'chmod -R u+w "$STAGE"; rm -rf "$STAGE"' EXIT

# The Debian packages of make deb.
dist_debian() {
  cp "$DEB_BUILD"/*.deb "$OUT/"
}

# The installed tree for C and C++ consumers, relocatable: the .pc file
# and the CMake package find their prefix from their own place, and the
# programs find the library through a run path relative to theirs.
dist_c_tarball() {
  local name=zelvanclient-$ZV_VERSION-linux-$(uname -m)
  cmake --install "$INSTALL_BUILD" --prefix "$STAGE/$name" --strip >/dev/null
  tar --sort=name --owner=0 --group=0 --numeric-owner -C "$STAGE" -czf "$OUT/$name.tar.gz" "$name"
}

# The wheel and the sdist, built by the PEP 517 hooks of setuptools in a
# virtual environment that takes setuptools from the interpreter's own
# ensurepip and wheel from Debian's python3-wheel-whl: no package index.
# The build runs on a copy, so that build/ and zelvan.egg-info never land
# in the sources.
dist_python() {
  local venv=$STAGE/python-venv src=$STAGE/python
  cp -r "$BINDINGS/python" "$src"
  rm -rf "$src/build" "$src"/*.egg-info
  python3 -m venv "$venv"
  "$venv/bin/python" -m pip --disable-pip-version-check -q install --no-index \
    --find-links /usr/share/python-wheels wheel
  (cd "$src" && PYTHONWARNINGS=ignore "$venv/bin/python" -c '
import sys
from setuptools import build_meta
out = sys.argv[1]  # the hooks replace sys.argv
build_meta.build_wheel(out)
build_meta.build_sdist(out)' "$OUT" >/dev/null)
}

# npm pack's tarball of the package, and the tarball of the koffi version
# its package-lock.json pins, from the npm registry (or npm's cache), so
# that both install together without the registry.
dist_node() {
  local koffi
  koffi=$(node -p 'require(process.argv[1]).packages["node_modules/koffi"].version' \
    "$BINDINGS/node/package-lock.json")
  (cd "$BINDINGS/node" && npm pack -q --pack-destination "$OUT" >/dev/null)
  (cd "$STAGE" && npm pack -q --pack-destination "$OUT" "koffi@$koffi" >/dev/null)
}

# A Composer artifact: a zip whose composer.json carries the version, so
# that an artifact repository offers it as a stable release (the sources'
# composer.json names none, since Composer takes it from a tag there).
dist_php() {
  local dir=$STAGE/php
  mkdir "$dir"
  cp -r "$BINDINGS/php/src" "$BINDINGS/php/examples" "$BINDINGS/php/autoload.php" "$BINDINGS/php/README.md" \
    "$SOURCE/LICENSE" "$dir/"
  php -r '$c = json_decode(file_get_contents($argv[1]), true);
$c = array_merge(array_slice($c, 0, 1), ["version" => $argv[2]], array_slice($c, 1));
echo json_encode($c, JSON_PRETTY_PRINT | JSON_UNESCAPED_SLASHES), "\n";' \
    "$BINDINGS/php/composer.json" "$ZV_VERSION" >"$dir/composer.json"
  (cd "$dir" && zip -q -X -r "$OUT/zelvan-zelvanclient-$ZV_VERSION.zip" .)
}

# The jar and its pom, as Maven's install:install-file takes them, with
# the Maven settings that resolve plugins and JNA from Debian's
# /usr/share/maven-repo instead of Maven Central. The jar is built with
# javac against Debian's JNA, so that no Maven plugin is needed.
dist_java() {
  local classes=$STAGE/java-classes
  mkdir "$classes"
  javac --release 17 -d "$classes" -cp /usr/share/java/jna.jar \
    $(find "$BINDINGS/java/src/main/java" -name '*.java')
  cp "$SOURCE/LICENSE" "$classes/"
  jar --create --file "$OUT/zelvanclient-$ZV_VERSION.jar" -C "$classes" .
  cp "$BINDINGS/java/pom.xml" "$OUT/zelvanclient-$ZV_VERSION.pom"
  cp "$BINDINGS/java/debian-maven-settings.xml" "$OUT/"
}

# The Go module in the layout of a module proxy (goproxy/), for
# GOPROXY=file://: the module's list, .info, .mod and .zip, the zip's
# paths under MODULE@VERSION/ and without directory entries.
dist_go() {
  local module version dir stamp
  module=$(sed -n 's/^module //p' "$BINDINGS/go/go.mod")
  version=v$ZV_VERSION
  dir=$OUT/goproxy/$module/@v
  mkdir -p "$dir" "$(dirname "$STAGE/go/$module")"
  cp -r "$BINDINGS/go" "$STAGE/go/$module@$version"
  (cd "$STAGE/go" && zip -q -X -D -r "$dir/$version.zip" "$module@$version")
  cp "$BINDINGS/go/go.mod" "$dir/$version.mod"
  stamp=$(git -C "$SOURCE" log -1 --format=%cd --date=format-local:%Y-%m-%dT%H:%M:%SZ 2>/dev/null ||
    date -u +%Y-%m-%dT%H:%M:%SZ)
  printf '{"Version":"%s","Time":"%s"}\n' "$version" "$stamp" >"$dir/$version.info"
  echo "$version" >"$dir/list"
}

rm -rf "$OUT"
mkdir -p "$OUT"
for artifact in $ARTIFACTS; do
  "dist_$artifact"
done
(cd "$OUT" && find . -type f -printf '%P\n' | LC_ALL=C sort | xargs sha256sum -- >"$STAGE/SHA256SUMS" &&
  mv "$STAGE/SHA256SUMS" .)
ls -1 "$OUT"
