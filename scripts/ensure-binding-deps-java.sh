#!/bin/sh
# Installs what the Java binding's build and tests need: a JDK 17, JNA and
# JUnit 4. Does nothing when they are present.
set -e
missing=""
javac -version 2>&1 | grep -q "javac 17" || missing="$missing openjdk-17-jdk-headless"
[ -f /usr/share/java/jna.jar ] || missing="$missing libjna-java"
[ -f /usr/share/java/junit4.jar ] || missing="$missing junit4"
[ -z "$missing" ] && exit 0
# shellcheck disable=SC2086
sh "$(dirname "$0")/binding-deps-apt.sh" Java $missing
