#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs tarn.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh
bash scripts/build.sh build -DTARNLIB_BUILD_TESTS=ON
./build/tools/tarn/tarn --version
