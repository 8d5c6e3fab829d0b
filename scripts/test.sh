#!/usr/bin/env bash
# The test command: installs what is missing, builds, and runs every test with
# ctest, first in the normal build, then in a build with address and
# undefined-behaviour sanitizers.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh
bash scripts/build.sh build -DTARNLIB_BUILD_TESTS=ON
(cd build && ctest --output-on-failure -j "$(nproc)")
bash scripts/build.sh build-sanitize -DTARNLIB_SANITIZE=ON -DTARNLIB_BUILD_TOOLS=ON
(cd build-sanitize && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --output-on-failure -j "$(nproc)")
# Then each fuzz target for a bounded time (scripts/fuzz.sh; TARNLIB_FUZZ_SECONDS).
bash scripts/fuzz.sh
