#!/bin/sh
# Checks that the build dependencies of a fresh Debian 12 machine are present.
# As root, installs the missing ones with apt-get; otherwise names them and
# fails, so that the build never stops on a bare compiler error.
set -e

# --no-tests: only what building and installing the library needs (make
# install, make deb); the tests' own dependencies are left out.
tests=yes
if [ "${1:-}" = --no-tests ]; then tests=no; shift; fi

missing=""
need() { # need <package> <test command...>
  pkg=$1; shift
  "$@" >/dev/null 2>&1 || missing="$missing $pkg"
}

need cmake        command -v cmake
need ninja-build  command -v ninja
need g++          command -v g++
need libssl-dev   test -f /usr/include/openssl/ssl.h
if [ $tests = yes ]; then
  need libgtest-dev test -f /usr/include/gtest/gtest.h
  need openssl      command -v openssl
  need python3      command -v python3
  need pkg-config   command -v pkg-config
  need python3-venv python3 -c 'import ensurepip'
  need python3-wheel-whl sh -c 'ls /usr/share/python-wheels/wheel-*.whl'
  need man-db       command -v man
fi
for extra in "$@"; do
  case $extra in
    valgrind)          need valgrind command -v valgrind ;;
    clang)             need clang command -v clang ;;
    libclang-rt-14-dev) need libclang-rt-14-dev sh -c 'ls /usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a' ;;
    libbenchmark-dev)  need libbenchmark-dev test -f /usr/include/benchmark/benchmark.h ;;
    dpkg-dev)          need dpkg-dev command -v dpkg-shlibdeps ;;
    zip)               need zip command -v zip ;;
  esac
done

# The TLS servers of the interoperability suite (tests/interop): installed
# as root, optional otherwise, since their cases are then skipped.
if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null 2>&1; then
  need stunnel4   command -v stunnel4
  need gnutls-bin command -v gnutls-serv
fi

[ -z "$missing" ] && exit 0

if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null 2>&1; then
  echo "Installing missing build dependencies:$missing"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq || true
  # shellcheck disable=SC2086
  apt-get install -y -qq --no-install-recommends $missing
  exit 0
fi

echo "Missing build dependencies:$missing" >&2
echo "Install them with: sudo apt-get install$missing" >&2
exit 1
