#!/usr/bin/env bash
# Installs everything the project needs to build, test, fuzz and benchmark, from Debian's packages.
# Safe to run again: packages already present are left as they are.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config git
  libssl-dev liblzo2-dev libcli11-dev nlohmann-json3-dev
  libsquish-dev libspng-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  libsndfile1-dev
  help2man doxygen
  pybind11-dev python3-dev python3-pytest
  locales time
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi

if [ "${#missing[@]}" -gt 0 ]; then
  echo "deps: installing ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# A German locale lets the tests check that number text ignores the process locale.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf8$'; then
  $sudo sed -i 's/^# *de_DE.UTF-8 UTF-8/de_DE.UTF-8 UTF-8/' /etc/locale.gen
  $sudo locale-gen >/dev/null
fi
echo "deps: ready"
