#!/usr/bin/env bash
# Builds and runs every benchmark, then prints one table of ratios against the references
# measured in the same run (FFTW for the transforms, the C library for the vector maths,
# plain loops compiled at -O3 and memcpy for the block kernels and the sample formats,
# the standard library for text,
# the SDK's example onset detector for the whole plug-in) and the real-time factors.
# Medians of five repetitions; run it on a quiet machine.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/tools/setup.sh"
build="$top/build"
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target vecmath_bench fft_bench plugin_bench decision_bench kernels_bench formats_bench text_bench >/dev/null

out=$(mktemp)
trap 'rm -f "$out"' EXIT
for b in vecmath_bench fft_bench kernels_bench formats_bench text_bench decision_bench plugin_bench; do
  "$build/bench/$b" --benchmark_repetitions=5 --benchmark_min_time=0.2 --benchmark_enable_random_interleaving=true \
    --benchmark_report_aggregates_only=true --benchmark_color=false >"$out" 2>/dev/null
  echo "== $b"
  # The ratio table that closes each run, and the real-time factors of the audio benchmarks.
  sed -n '/^case /,$p' "$out"
  case $b in
    decision_bench | plugin_bench)
      grep -E '_median' "$out" | grep -E '/s$' |
        awk '{ print "  " $1 ": " $NF " seconds of audio per second (x real time)" }' || true
      ;;
  esac
done
