#!/usr/bin/env bash
# Builds the libFuzzer targets under tests/fuzz with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer, in build-fuzz/, and runs each for SECONDS (default 30),
# starting from the seeds in tests/fuzz/corpus/<target>. New inputs go to
# build-fuzz/corpus/<target>, never into the checked-in seeds; a failing input is
# kept as build-fuzz/<target>-crash-*.
#   tools/run-fuzz.sh [SECONDS] [TARGET...]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/tools/setup.sh"

seconds=${1:-30}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(Utf8Fuzz Utf16Fuzz Utf32Fuzz BinaryStringFuzz UUIDFuzz IntegerFuzz)

build="$top/build-fuzz"
CC=clang CXX=clang++ cmake -S "$top" -B "$build" -DBUILD_FUZZERS=ON -DENABLE_ASAN_UBSAN=ON \
  -DBUILD_TESTING=OFF -DBUILD_BENCHMARKS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}"

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  mkdir -p "$corpus"
  echo "fuzz: $target for ${seconds}s"
  "$build/tests/fuzz/$target" -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix="$build/$target-" "$corpus" "$top/tests/fuzz/corpus/$target" 2>&1 |
    grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|#[0-9]+ +DONE)|ERROR|property broken|SUMMARY|Test unit written' || true
  # grep above only trims the log; the fuzzer's own status decides.
  [ "${PIPESTATUS[0]}" -eq 0 ] || { echo "fuzz: $target failed" >&2; exit 1; }
done
