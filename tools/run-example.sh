#!/usr/bin/env bash
# Builds the plug-in and the command-line host, makes the example recording (a synthetic
# drum pattern), prints the transients found in it and draws them over the waveform.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/tools/setup.sh"

build="$top/build"
cmake -S "$top" -B "$build" >/dev/null
cmake --build "$build" -j"$(nproc)" --target transient-detector detect-transients make-example-recording

example="$build/example"
mkdir -p "$example"
echo "== What was played (seconds, drum)"
"$build/tools/make-example-recording" "$example/drums.wav" | tail -n +2
echo
echo "== What the detector found (seconds, sample frame, strength from 0 to 2)"
"$build/tools/detect-transients" "$example/drums.wav" --plot "$example/drums.svg"
echo
echo "The plot: $example/drums.svg (open it in a browser)"
