#!/usr/bin/env bash
# Real hosts: Sonic Visualiser, on a virtual display, analyses a generated recording with
# the plug-in installed as a user installs it, and its layer must match detect-transients;
# then the same with a broken description file, which must make that check fail.
#   tools/run-host-tests.sh [--screenshot FILE.png]
# Installs xvfb and sonic-visualiser where they are missing. Where they cannot be installed
# or no display can be started, it says so and exits 0. Expects the build of
# tools/run-tests.sh in build/.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build="$top/build"
shot=()
[ "${1:-}" = "--screenshot" ] && shot=(--screenshot "$2")

if ! "$top/tools/setup.sh" xvfb sonic-visualiser; then
  echo "host tests: Xvfb and Sonic Visualiser are not installed and cannot be: skipped"
  exit 0
fi
cmake --build "$build" -j"$(nproc)" --target transient-detector detect-transients make-example-recording >/dev/null

# The check exits 0 when it passed, 1 when it failed, 3 when it found no display.
check() { python3 "$top/tools/sonic_visualiser_check.py" "$build" "$@" && status=0 || status=$?; }
check "${shot[@]}"
case $status in
0) ;;
3) exit 0 ;;
*) exit 1 ;;
esac
check --break-description 2>/dev/null
case $status in
1) echo "host tests: with a broken description file the check fails, as it must" ;;
3) exit 0 ;;
*)
  echo "host tests: the check passed with a broken description file; it cannot be trusted" >&2
  exit 1
  ;;
esac
