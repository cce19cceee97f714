#!/usr/bin/env bash
# Builds the libFuzzer targets under tests/fuzz with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer, in build-fuzz/, and runs each for SECONDS (default 30),
# starting from the seeds in tests/fuzz/corpus/<target>. New inputs go to
# build-fuzz/corpus/<target>, never into the checked-in seeds. A target that crashes,
# leaks, breaks a property or spends more than FUZZ_UNIT_TIMEOUT seconds (default 10) on
# one input fails the run: its input is kept as build-fuzz/<target>-{crash,leak,timeout}-*
# and the script names the file and exits 1 once every target has run.
#   tools/run-fuzz.sh [SECONDS] [TARGET...]
#   tools/run-fuzz.sh --self-test   plants each fault in PlantedFaultFuzz; fails unless
#                                   every one of them fails the script
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build="$top/build-fuzz"

if [ "${1:-}" = "--self-test" ]; then
  for fault in crash leak timeout; do
    rm -rf "$build"/PlantedFaultFuzz-* "$build/corpus/PlantedFaultFuzz"
    set +e
    out=$(PLANTED_FAULT=$fault FUZZ_UNIT_TIMEOUT=2 "$0" 20 PlantedFaultFuzz 2>&1)
    status=$?
    set -e
    kept=$(sed -n 's/^fuzz: PlantedFaultFuzz failed .*; its input: \(.*\)$/\1/p' <<<"$out")
    if [ "$status" -eq 0 ] || [ -z "$kept" ] || [ ! -f "$kept" ] || [[ "$kept" != *"-$fault-"* ]]; then
      printf '%s\n' "$out" >&2
      echo "fuzz self-test: a planted $fault did not fail the script with its input named (exit $status)" >&2
      exit 1
    fi
    echo "fuzz self-test: a planted $fault fails the run and keeps $kept"
  done
  rm -f "$build"/PlantedFaultFuzz-*
  exit 0
fi

"$top/tools/setup.sh"

seconds=${1:-30}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(Utf8Fuzz Utf16Fuzz Utf32Fuzz BinaryStringFuzz UUIDFuzz IntegerFuzz)

CC=clang CXX=clang++ cmake -S "$top" -B "$build" -DBUILD_FUZZERS=ON -DENABLE_ASAN_UBSAN=ON \
  -DBUILD_TESTING=OFF -DBUILD_BENCHMARKS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}"

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
failed=()
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  log="$build/$target.log"
  mkdir -p "$corpus"
  echo "fuzz: $target for ${seconds}s"
  seeds=("$top/tests/fuzz/corpus/$target")
  [ -d "${seeds[0]}" ] || seeds=()
  status=0
  "$build/tests/fuzz/$target" -max_total_time="$seconds" -timeout="${FUZZ_UNIT_TIMEOUT:-10}" \
    -print_final_stats=1 -artifact_prefix="$build/$target-" "$corpus" "${seeds[@]}" \
    >"$log" 2>&1 || status=$?
  # The whole log stays in $log; these lines are the summary.
  grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|#[0-9]+ +DONE)|ERROR|property broken|SUMMARY|Test unit written' "$log" || true
  if [ "$status" -ne 0 ]; then
    kept=$(sed -n 's/.*Test unit written to \([^ ]*\).*/\1/p' "$log" | tail -n 1)
    echo "fuzz: $target failed (exit $status; log $log); its input: ${kept:-none written}" >&2
    failed+=("$target")
  fi
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz: failed: ${failed[*]}" >&2
  exit 1
fi
