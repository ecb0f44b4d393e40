#!/bin/sh
# Installs what the Java binding's build, tests and packaging need: a JDK
# 17, JNA and JUnit 4, and Maven with the install plugin in Debian's
# /usr/share/maven-repo, which installs the jar of make dist into a local
# repository without Maven Central. Does nothing when they are present.
set -e
missing=""
javac -version 2>&1 | grep -q "javac 17" || missing="$missing openjdk-17-jdk-headless"
[ -f /usr/share/java/jna.jar ] || missing="$missing libjna-java"
[ -f /usr/share/java/junit4.jar ] || missing="$missing junit4"
command -v mvn >/dev/null 2>&1 || missing="$missing maven"
[ -d /usr/share/maven-repo/org/apache/maven/plugins/maven-install-plugin ] ||
  missing="$missing libmaven-install-plugin-java"
[ -z "$missing" ] && exit 0
# shellcheck disable=SC2086
sh "$(dirname "$0")/apt-install.sh" "the Java binding" $missing
