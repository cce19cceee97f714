#!/usr/bin/env bash
# Builds for /usr in build-package/ and makes the Debian packages (transient-detector and
# libtransient-detector-dev) and the .tar.gz archive there, then lists them with their sizes.
# Installs what is missing of dpkg-dev (its dpkg-shlibdeps gives the packages' Depends),
# and of lintian and groff-base, which tools/run-package-test.sh uses.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/tools/setup.sh" dpkg-dev lintian groff-base

build="$top/build-package"
# Built as Debian builds its own packages, with dpkg-buildflags' hardening: stack
# protection, checked glibc calls, relocations read-only and bound at load. None of it
# touches floating point.
cd "$top"
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
compile="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)"
link=$(dpkg-buildflags --get LDFLAGS)
# Neither tests nor benchmarks go into a package; no reason to build them here.
cmake -S "$top" -B "$build" -DCMAKE_INSTALL_PREFIX=/usr -DBUILD_TESTING=OFF -DBUILD_BENCHMARKS=OFF \
  -DWARNINGS_AS_ERRORS=ON -DCMAKE_CXX_FLAGS="$compile" -DCMAKE_EXE_LINKER_FLAGS="$link" \
  -DCMAKE_MODULE_LINKER_FLAGS="$link" >/dev/null
cmake --build "$build" -j"$(nproc)"
# A package left from an earlier run would be listed, and tested, as if just made.
rm -f "$build"/*.deb "$build"/*.tar.gz
(cd "$build" && cpack -G DEB >/dev/null && cpack -G TGZ >/dev/null)

echo "== Packages in $build"
for file in "$build"/*.deb "$build"/*.tar.gz; do
  printf '%10d  %s\n' "$(stat -c %s "$file")" "$(basename "$file")"
done
