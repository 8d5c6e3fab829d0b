#!/usr/bin/env bash
# Installs every package tarnlib needs to build, test and benchmark on Debian 12.
# Idempotent: packages already present are left alone, and the package lists are
# refreshed only when something is missing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  libsqlite3-dev sqlite3
  libpugixml-dev
  libboost-dev
  libutfcpp-dev
  nlohmann-json3-dev
  libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libsoci-dev
  clang libfuzzer-14-dev libclang-rt-14-dev
  librsvg2-bin chromium
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
if ! $SUDO apt-get install -y --no-install-recommends "${missing[@]}"; then
  $SUDO apt-get update
  $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
fi
