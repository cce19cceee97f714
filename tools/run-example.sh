#!/usr/bin/env bash
# Builds the plug-in, makes the example recording (a synthetic drum pattern) and prints
# the transients that the plug-in finds in it, through the standard Vamp host.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/tools/setup.sh"

build="$top/build"
cmake -S "$top" -B "$build" >/dev/null
cmake --build "$build" -j"$(nproc)" --target transient-detector make-example-recording

example="$build/example"
mkdir -p "$example"
echo "== What was played"
"$build/tools/make-example-recording" "$example/drums.wav"
echo
echo "== What the detector found (seconds: strength, 0 to 2)"
VAMP_PATH="$build/transient-detector" vamp-simple-host \
  transient-detector:TransientDetector "$example/drums.wav" 2>/dev/null
