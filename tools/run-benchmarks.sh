#!/usr/bin/env bash
# Builds and runs every benchmark, then prints one table of ratios against the references
# measured in the same run (FFTW for the transforms, the C library for the vector maths,
# plain loops compiled at -O3 and memcpy for the block kernels and the sample formats,
# the standard library for text,
# the SDK's example onset detector for the whole plug-in, vamp-simple-host for whole runs
# of detect-transients) and the real-time factors, then the CPU time of vamp-simple-host
# over ten minutes of audio.
# Medians of five repetitions; run it on a quiet machine.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/tools/setup.sh"
build="$top/build"
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target vecmath_bench fft_bench plugin_bench decision_bench kernels_bench formats_bench text_bench \
  tool_bench >/dev/null

out=$(mktemp)
trap 'rm -f "$out"' EXIT
for b in vecmath_bench fft_bench kernels_bench formats_bench text_bench decision_bench plugin_bench tool_bench; do
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
    tool_bench)
      # Counters: the children's CPU seconds a run, then seconds of audio per second of the clock.
      grep -E '_median' "$out" |
        awk '{ print "  " $1 ": " $NF " x real time by the clock, " $(NF - 1) " CPU seconds a run" }' || true
      ;;
  esac
done

# The whole plug-in as a user runs it: CPU seconds of vamp-simple-host over a 10-minute
# generated recording, for this plug-in, the SDK's percussion onset detector, and the
# amplitude follower, which does almost nothing and so gives the host's own cost (reading
# and converting the file). Five rounds, the three in turn in each; medians.
echo "== vamp-simple-host, 10 minutes of 44.1 kHz audio (CPU seconds, median of 5 rounds)"
cmake --build "$build" -j"$(nproc)" --target transient-detector make-example-recording >/dev/null
work=$(mktemp -d)
trap 'rm -f "$out"; rm -rf "$work"' EXIT
"$build/tools/make-example-recording" "$work/ten.wav" --seconds 600 >/dev/null
export VAMP_PATH="$build/transient-detector:/usr/lib/x86_64-linux-gnu/vamp"
plugins=(transient-detector:TransientDetector vamp-example-plugins:percussiononsets
  vamp-example-plugins:amplitudefollower)
for round in 1 2 3 4 5; do
  for p in "${plugins[@]}"; do
    TIMEFORMAT="%3U %3S"
    t=$({ time vamp-simple-host "$p" "$work/ten.wav" -o "$work/out.txt" >/dev/null 2>&1; } 2>&1)
    echo "$p $t"
  done
done | awk '
  { cpu[$1] = cpu[$1] " " ($2 + $3) }
  END {
    for (p in cpu) {
      n = split(substr(cpu[p], 2), v, " ")
      for (i = 1; i <= n; i++) for (j = i + 1; j <= n; j++) if (v[j] < v[i]) { t = v[i]; v[i] = v[j]; v[j] = t }
      med[p] = v[int((n + 1) / 2)]
    }
    floor = med["vamp-example-plugins:amplitudefollower"]
    ours = med["transient-detector:TransientDetector"] - floor
    perc = med["vamp-example-plugins:percussiononsets"] - floor
    printf "  host floor (amplitudefollower): %.3f s\n", floor
    printf "  transient-detector:  %.3f s, %.3f s above the floor\n", ours + floor, ours
    printf "  percussiononsets:    %.3f s, %.3f s above the floor\n", perc + floor, perc
    printf "  above the floor, this plug-in costs %.2f of percussiononsets\n", ours / perc
  }'
