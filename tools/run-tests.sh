#!/usr/bin/env bash
# Builds everything and runs every test.
#   tools/run-tests.sh             the normal build, in build/
#   tools/run-tests.sh --sanitize  with AddressSanitizer and UndefinedBehaviorSanitizer,
#                                  in build-sanitize/
#   tools/run-tests.sh --threads   the libraries' tests under ThreadSanitizer, in build-tsan/
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/tools/setup.sh"

build="$top/build"
options=()
if [ "${1:-}" = "--sanitize" ]; then
  build="$top/build-sanitize"
  options=(-DENABLE_ASAN_UBSAN=ON -DCMAKE_BUILD_TYPE=Debug)
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
fi

targets=()
labels=()
if [ "${1:-}" = "--threads" ]; then
  # The locks, the events and the shared sample stores are where threads meet.
  build="$top/build-tsan"
  options=(-DENABLE_TSAN=ON -DCMAKE_BUILD_TYPE=Debug -DBUILD_BENCHMARKS=OFF)
  targets=(--target base_core_tests engine_tests)
  labels=(-L 'base_core|engine')
  export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
fi

cmake -S "$top" -B "$build" -DWARNINGS_AS_ERRORS=ON "${options[@]}" >/dev/null
cmake --build "$build" -j"$(nproc)" "${targets[@]}"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)" "${labels[@]}"
