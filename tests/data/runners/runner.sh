#!/bin/sh
# runner.sh LANGUAGE WORKDIR CASEFILE: runs one case file through the
# runner of LANGUAGE (php, node, java, go) under run_case_with.py, or
# reports it skipped (77) when the language's toolchain is missing now,
# when the test runs (scripts/ensure-binding-deps-LANGUAGE.sh installs it).
# runner.sh java-build|go-build WORKDIR: compiles the Java or Go runner
# into WORKDIR once, for every case after it.
here=$(cd "$(dirname "$0")" && pwd)
language=$1 work=$2 case=$3
skip() { echo "skipped: $1 (scripts/ensure-binding-deps-$2.sh)"; exit 77; }
jna=/usr/share/java/jna.jar
case $language in
php)
  php -r "exit(extension_loaded('FFI') ? 0 : 1);" >/dev/null 2>&1 || skip "php with the FFI extension is missing" php
  set -- php "$here/run_case.php" ;;
node)
  node=$(command -v node || command -v nodejs) || skip "Node.js is missing" node
  (cd "$here/../../../bindings/node" && "$node" -e 'require("koffi")') >/dev/null 2>&1 || skip "koffi is missing" node
  set -- "$node" "$here/run_case.js" ;;
java|java-build)
  [ -f $jna ] || skip "$jna is missing" java
  release=$(javac -version 2>&1 | sed -n 's/^javac \([0-9]*\).*/\1/p')
  [ "${release:-0}" -ge 17 ] 2>/dev/null || skip "no JDK 17 or later" java
  if [ $language = java-build ]; then
    rm -rf "$work/java" && mkdir -p "$work/java"
    exec javac -Xlint:all -Werror --release 17 -d "$work/java" -cp $jna \
      $(find "$here/../../../bindings/java/src/main/java" -name '*.java') "$here/java/RunCase.java"
  fi
  set -- java -cp "$work/java:$jna" RunCase ;;
go|go-build)
  command -v go >/dev/null 2>&1 || skip "Go is missing" go
  [ $language = go-build ] && cd "$here/go" && exec go build -o "$work/go/caserunner" .
  set -- "$work/go/caserunner" ;;
*)
  echo "runner.sh: unknown language $language" >&2; exit 2 ;;
esac
exec python3 "$here/run_case_with.py" "$case" "$@"
