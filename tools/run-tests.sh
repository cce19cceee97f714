#!/usr/bin/env bash
# Builds everything and runs every test.
#   tools/run-tests.sh             the normal build, in build/
#   tools/run-tests.sh --sanitize  with AddressSanitizer and UndefinedBehaviorSanitizer,
#                                  in build-sanitize/
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

cmake -S "$top" -B "$build" -DWARNINGS_AS_ERRORS=ON "${options[@]}" >/dev/null
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
