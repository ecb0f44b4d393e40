#!/bin/sh
# run.sh SOURCE_DIR TEST_CLASS [JAVA_OPTION...]: builds the Java binding and
# its tests with javac (no Maven needed) into a directory of its own and
# runs the JUnit 4 class. Looks for the toolchain now, not when CMake was
# configured: without a JDK 17 or later, JNA or JUnit 4 (Debian
# openjdk-17-jdk-headless, libjna-java, junit4, installed by
# scripts/ensure-binding-deps-java.sh) it reports itself skipped (77).
set -e
source_dir=$1 test_class=$2
shift 2
jars=/usr/share/java
for jar in jna junit4 hamcrest-core; do
  [ -f $jars/$jar.jar ] || { echo "skipped: $jars/$jar.jar is missing (scripts/ensure-binding-deps-java.sh)"; exit 77; }
done
release=$(javac -version 2>&1 | sed -n 's/^javac \([0-9]*\).*/\1/p')
[ "${release:-0}" -ge 17 ] 2>/dev/null ||
  { echo "skipped: no JDK 17 or later (scripts/ensure-binding-deps-java.sh)"; exit 77; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
binding=$source_dir/bindings/java
classpath=$jars/jna.jar:$jars/junit4.jar:$jars/hamcrest-core.jar
javac -Xlint:all -Werror --release 17 -d "$work/classes" -cp "$classpath" \
  $(find "$binding/src/main/java" -name '*.java')
javac -Xlint:all -Werror --release 17 -d "$work/test-classes" -cp "$work/classes:$classpath" \
  $(find "$binding/src/test/java" "$source_dir/tests/java" -name '*.java')
java "$@" -cp "$work/classes:$work/test-classes:$classpath" org.junit.runner.JUnitCore "$test_class"
