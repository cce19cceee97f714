#!/usr/bin/env bash
# Peak memory of detect-transients over a large batch written as one document: FILES names
# (default 20000, hard links to one 1.5-second recording, so the disk holds one) read from
# a list into one CSV, measured by GNU time (/usr/bin/time -v, Debian's `time`). What the
# tool keeps per file shows as the growth of the peak from 1 file to FILES.
#   tools/measure-batch-memory.sh [FILES]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/tools/setup.sh" time
files=${1:-20000}
build="$top/build"
cmake -S "$top" -B "$build" >/dev/null
cmake --build "$build" -j"$(nproc)" --target detect-transients make-example-recording >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$build/tools/make-example-recording" "$work/take.wav" --seconds 1.5 >/dev/null
mkdir "$work/corpus"
for ((i = 0; i < files; i++)); do
  ln "$work/take.wav" "$work/corpus/take$i.wav"
  echo "$work/corpus/take$i.wav"
done >"$work/list.txt"

peak() { # FILES: kilobytes at the peak of one run over the first FILES of the list
  head -n "$1" "$work/list.txt" >"$work/part.txt"
  /usr/bin/time -v "$build/tools/detect-transients" -q --files-from "$work/part.txt" --format csv \
    -o "$work/all.csv" 2>&1 >/dev/null | sed -n 's/.*Maximum resident set size (kbytes): //p'
}
one=$(peak 1)
all=$(peak "$files")
rows=$(($(wc -l <"$work/all.csv") - 1))
echo "detect-transients, one CSV: 1 file: peak $((one / 1024)) MB; $files files ($rows transients):" \
  "peak $((all / 1024)) MB, $(((all - one) * 1024 / files)) bytes more per file"
