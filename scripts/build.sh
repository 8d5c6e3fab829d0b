#!/usr/bin/env bash
# Configures and builds one build tree. Usage: scripts/build.sh DIR [cmake options...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=$1; shift
mkdir -p "$root/$dir"
log="$root/$dir/configure.log"
cmake -S "$root" -B "$root/$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" > "$log" 2>&1 \
  || { cat "$log"; exit 1; }
cmake --build "$root/$dir" -j "$(nproc)"
