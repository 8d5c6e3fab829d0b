#!/usr/bin/env bash
# The main job: installs what is missing, builds tarn, and runs "tarn demo",
# which builds the sample catalogue into build/tarn-demo.sqlite and leaves it
# there to explore.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh
# Configured as scripts/test.sh configures it, so that the two share one build;
# only the tool and the library are built here.
mkdir -p build
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNLIB_BUILD_TESTS=ON > build/configure.log 2>&1 \
  || { cat build/configure.log; exit 1; }
cmake --build build -j "$(nproc)" --target tarn
./build/tools/tarn/tarn --version
./build/tools/tarn/tarn demo build/tarn-demo.sqlite --force
echo
echo "tarn is build/tools/tarn/tarn; 'cmake --install build' puts it on the PATH with the library."
