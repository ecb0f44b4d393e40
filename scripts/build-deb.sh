#!/bin/bash
# Builds the Debian packages from a build directory configured for /usr
# (make deb does both): scripts/build-deb.sh BUILD_DIR OUTPUT_DIR.
#
# One package per install component, their control fields in
# scripts/deb/<package>.control. The version, the licence and the
# maintainer come from BUILD_DIR/package-info.sh (cmake/packaging.cmake);
# $DEB_MAINTAINER, when set, names another maintainer. The packages carry
# what Debian's policy asks of them: a copyright file and a changelog in
# each, stripped binaries, compressed manual pages, a shlibs file and the
# ldconfig trigger for the library, and no maintainer script, so that
# dpkg -r leaves nothing configured behind.
set -euo pipefail
umask 022

BUILD=$(cd "$1" && pwd)
mkdir -p "$2"
OUT=$(cd "$2" && pwd)
SCRIPTS=$(cd "$(dirname "$0")" && pwd)
SOURCE=$(dirname "$SCRIPTS")
# shellcheck source=/dev/null
. "$BUILD/package-info.sh"
[ "$ZV_INSTALL_PREFIX" = /usr ] ||
  { echo "build-deb.sh: $BUILD installs into $ZV_INSTALL_PREFIX, not /usr" >&2; exit 1; }
MAINTAINER=${DEB_MAINTAINER:-$ZV_DEB_MAINTAINER}
ARCH=$(dpkg --print-architecture)
LIBRARY_PACKAGE=libzelvanclient$ZV_SOVERSION
STAGE=$BUILD/deb-stage
rm -rf "$STAGE"
mkdir -p "$STAGE/shlibdeps/debian"
# dpkg-shlibdeps reads debian/control of the directory it runs in.
printf 'Source: zelvanclient\n\nPackage: %s\nArchitecture: any\n' "$LIBRARY_PACKAGE" >"$STAGE/shlibdeps/debian/control"

# The date of this version's entry in CHANGELOG.md, so that the same
# sources give the same packages; today for a version not released yet.
release_date() {
  local date
  date=$(sed -n "s/^## \[$ZV_VERSION\] - \([0-9-]*\)$/\1/p" "$SOURCE/CHANGELOG.md")
  date -R -u -d "${date:-now}"
}

write_docs() { # write_docs <package> <root>
  local package=$1 root=$2
  local doc=$root/usr/share/doc/$package
  mkdir -p "$doc"
  # The component's documents come under the project's name; Debian keeps
  # them under the package's. The licence text is in common-licenses.
  if [ -d "$root/$ZV_INSTALL_PREFIX/$ZV_INSTALL_DOCDIR" ]; then
    mv "$root/$ZV_INSTALL_PREFIX/$ZV_INSTALL_DOCDIR"/* "$doc/"
    rmdir "$root/$ZV_INSTALL_PREFIX/$ZV_INSTALL_DOCDIR"
    rm -f "$doc/LICENSE"
  fi
  cat >"$doc/copyright" <<COPYRIGHT
Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: libzelvanclient

Files: *
Copyright: $(date -u -d "$(release_date)" +%Y) The libzelvanclient developers
License: $ZV_LICENSE
 On Debian systems, the full text of the Apache License, Version 2.0 is in
 /usr/share/common-licenses/Apache-2.0.
COPYRIGHT
  {
    echo "zelvanclient ($ZV_VERSION) unstable; urgency=medium"
    echo
    echo "  * Release $ZV_VERSION of libzelvanclient; its changes are listed in"
    echo "    /usr/share/doc/$LIBRARY_PACKAGE/CHANGELOG.md."
    echo
    echo " -- $MAINTAINER  $(release_date)"
  } | gzip -9n >"$doc/changelog.gz"
}

strip_binaries() { # strip_binaries <root>
  local file
  for file in "$1"/usr/bin/*; do
    [ -f "$file" ] && strip --remove-section=.comment --remove-section=.note "$file"
  done
  for file in "$1/usr/$ZV_INSTALL_LIBDIR"/*.so.*; do
    if [ -f "$file" ] && [ ! -L "$file" ]; then
      strip --remove-section=.comment --remove-section=.note --strip-unneeded "$file"
      chmod 0644 "$file"
    fi
  done
}

# The run-time dependencies of the package's binaries, the library's own
# through the shlibs file of its package built just before.
shlib_depends() { # shlib_depends <root>
  local binaries
  binaries=$(find "$1/usr" -type f \( -path "*/bin/*" -o -name "*.so.*" \) | sort)
  [ -n "$binaries" ] || return 0
  # shellcheck disable=SC2086
  (cd "$STAGE/shlibdeps" && dpkg-shlibdeps -O -S"$STAGE/$LIBRARY_PACKAGE" $binaries) |
    sed -n 's/^shlibs:Depends=//p'
}

build_package() { # build_package <package> <component>
  local package=$1 component=$2
  local root=$STAGE/$package
  mkdir -p "$root/DEBIAN"
  DESTDIR=$root cmake --install "$BUILD" --component "$component" >/dev/null
  write_docs "$package" "$root"
  strip_binaries "$root"
  if [ -d "$root/$ZV_INSTALL_PREFIX/$ZV_INSTALL_MANDIR" ]; then
    find "$root/$ZV_INSTALL_PREFIX/$ZV_INSTALL_MANDIR" -type f -exec gzip -9n {} +
  fi
  if [ "$package" = "$LIBRARY_PACKAGE" ]; then
    echo "libzelvanclient $ZV_SOVERSION $LIBRARY_PACKAGE (>= $ZV_VERSION)" >"$root/DEBIAN/shlibs"
    echo "activate-noawait ldconfig" >"$root/DEBIAN/triggers"
  fi

  local fields=$SCRIPTS/deb/$package.control depends
  depends=$(sed -n "s/^Depends: //p" "$fields" | sed "s/@VERSION@/$ZV_VERSION/g")
  local found
  found=$(shlib_depends "$root")
  depends=${depends:+$depends${found:+, }}$found
  {
    echo "Package: $package"
    echo "Source: zelvanclient"
    echo "Version: $ZV_VERSION"
    echo "Architecture: $ARCH"
    echo "Maintainer: $MAINTAINER"
    echo "Installed-Size: $(du -sk --exclude=DEBIAN "$root" | cut -f1)"
    [ -n "$depends" ] && echo "Depends: $depends"
    grep -v "^Depends: " "$fields"
  } >"$root/DEBIAN/control"
  (cd "$root" && find . -path ./DEBIAN -prune -o -type f -printf '%P\0' | sort -z |
    xargs -0 md5sum >DEBIAN/md5sums)
  dpkg-deb --root-owner-group --build "$root" "$OUT/${package}_${ZV_VERSION}_$ARCH.deb" >/dev/null
  echo "$OUT/${package}_${ZV_VERSION}_$ARCH.deb"
}

rm -f "$OUT"/*.deb
build_package "$LIBRARY_PACKAGE" runtime
build_package libzelvanclient-dev development
build_package zelvan-tools tools
