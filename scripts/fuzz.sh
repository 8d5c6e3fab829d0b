#!/usr/bin/env bash
# Fuzzes the library's readers for a bounded time. Builds the libFuzzer targets
# of tests/fuzz with clang in build-fuzz (the library and the three targets
# only, -O1 -g, address and undefined-behaviour sanitizers), then runs each for
# TARNLIB_FUZZ_SECONDS seconds (45 unless set) on a copy of its seed corpus in
# the build tree, so the repository's corpus does not grow. A crash, leak,
# undefined behaviour, timeout or memory excess fails the run: the input that
# caused it is copied into tests/fuzz/regressions/TARGET/, where the replay
# tests of the normal build (ctest) run it from then on.
#
# Usage: scripts/fuzz.sh [TARGET...]   (xml_import, catalogue_file, property_value)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
seconds=${TARNLIB_FUZZ_SECONDS:-45}
dir=$root/build-fuzz
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(xml_import catalogue_file property_value)

# The largest input each target is given: documents a little larger than the
# seeds, a catalogue file twice the size of the small seed files, JSON values.
max_len() {
  case $1 in
    xml_import) echo 16384 ;;
    catalogue_file) echo 262144 ;;
    property_value) echo 4096 ;;
  esac
}

mkdir -p "$dir"
CC=clang CXX=clang++ cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" \
  -DTARNLIB_FUZZ=ON -DTARNLIB_BUILD_TESTS=OFF -DTARNLIB_BUILD_TOOLS=OFF -DTARNLIB_BUILD_BENCH=OFF \
  -DTARNLIB_WERROR=OFF > "$dir/configure.log" 2>&1 || { cat "$dir/configure.log"; exit 1; }
cmake --build "$dir" -j "$(nproc)" --target "${targets[@]/%/_fuzz}"

failed=0
for target in "${targets[@]}"; do
  work=$dir/runs/$target
  rm -rf "$work"
  mkdir -p "$work/corpus" "$work/artifacts"
  cp "$root/tests/fuzz/corpus/$target/"* "$work/corpus/"
  # Inputs kept from earlier crashes seed the run too (not .gitkeep).
  find "$root/tests/fuzz/regressions/$target" -maxdepth 1 -type f ! -name '.*' -exec cp {} "$work/corpus/" \;
  dict=()
  [ -f "$root/tests/fuzz/$target.dict" ] && dict=(-dict="$root/tests/fuzz/$target.dict")
  echo "== $target: ${seconds}s"
  status=0
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    "$dir/tests/fuzz/${target}_fuzz" "$work/corpus" "${dict[@]}" \
    -max_total_time="$seconds" -max_len="$(max_len "$target")" -rss_limit_mb=2048 -timeout=10 \
    -artifact_prefix="$work/artifacts/" -print_final_stats=1 > "$work/log" 2>&1 || status=$?
  grep -E '^(Done [0-9]+ runs|stat::number_of_executed_units|stat::peak_rss_mb)' "$work/log" || true
  if [ "$status" -ne 0 ]; then
    failed=1
    tail -n 60 "$work/log"
    mkdir -p "$root/tests/fuzz/regressions/$target"
    for artifact in "$work/artifacts/"*; do
      [ -f "$artifact" ] || continue
      cp "$artifact" "$root/tests/fuzz/regressions/$target/"
      echo "$target failed; input kept as tests/fuzz/regressions/$target/$(basename "$artifact")"
    done
  fi
done
exit "$failed"
