#!/bin/sh
# Installs what the Java binding's build and tests need (a JDK 17, JNA and
# JUnit 4: openjdk-17-jdk-headless, libjna-java, junit4) as root with
# apt-get. Does nothing when they are present; as another user it only
# says what is missing, since the binding's test is then reported as
# skipped.
set -e

missing=""
javac -version 2>&1 | grep -q "javac 17" || missing="$missing openjdk-17-jdk-headless"
[ -f /usr/share/java/jna.jar ] || missing="$missing libjna-java"
[ -f /usr/share/java/junit4.jar ] || missing="$missing junit4"
[ -z "$missing" ] && exit 0

if [ "$(id -u)" != 0 ] || ! command -v apt-get >/dev/null 2>&1; then
  echo "The Java binding's tests need:$missing (sudo apt-get install$missing)" >&2
  exit 0
fi
echo "Installing for the Java binding:$missing"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || true
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $missing
