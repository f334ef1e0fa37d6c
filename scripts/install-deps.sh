#!/usr/bin/env bash
# Installs the Debian 12 packages the project builds and runs with, skipping
# what is already there. Extra package names may be given as arguments.
set -euo pipefail

# lintian, dpkg-dev (dpkg-shlibdeps) and file: the Debian packages and their test;
# python3-protobuf and python3-pytest: the Python client and its tests;
# help2man and bash-completion: the tools' manual pages and completion;
# libcpp-httplib-dev: oru-console's HTTP server; chromium, chromium-driver and
# python3-selenium: its browser test.
packages=(build-essential cmake pkg-config qtbase5-dev libprotobuf-dev protobuf-compiler fonts-dejavu-core
  lintian dpkg-dev file python3 python3-protobuf python3-pytest help2man bash-completion
  libcpp-httplib-dev chromium chromium-driver python3-selenium "$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "Installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
