#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running the detector need,
# and any named on the command line, where they are missing. Run as root, or as a user
# who may use sudo.
set -euo pipefail

packages=(g++ cmake make pkg-config python3 googletest libgtest-dev libbenchmark-dev libfftw3-dev libsndfile1-dev vamp-plugin-sdk vamp-examples raptor2-utils clang libclang-rt-dev parallel python3-mido groff-base "$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}" >&2
if [ "$(id -u)" -eq 0 ]; then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "setup: these packages are missing and this user cannot install them: ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
