#!/usr/bin/env bash
# The packages as a user gets them: makes them with tools/make-packages.sh, unpacks the
# Debian packages and the archive into a scratch folder and requires that Debian's
# vamp-simple-host finds the plug-in there and gets the same transients from it as the
# packaged detect-transients, which must find its plug-in by its own place alone; that the
# binaries are stripped and name no folder of this machine; and that lintian finds no
# error (the build's tests render the manual page). Lintian's warnings and notes are
# printed for the reader to judge. Every problem is reported before it exits non-zero.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build="$top/build-package"
"$top/tools/make-packages.sh"

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
problems=0
problem() {
  echo "package test: $*" >&2
  problems=$((problems + 1))
}

debs=("$build"/transient-detector_*.deb "$build"/libtransient-detector-dev_*.deb)
archives=("$build"/transient-detector-*.tar.gz)
root="$tmp/root"
for deb in "${debs[@]}"; do
  echo
  echo "== $(basename "$deb")"
  dpkg-deb -c "$deb"
  dpkg-deb -x "$deb" "$root"
done

vamp="$root/usr/lib/x86_64-linux-gnu/vamp"
plugin="$vamp/transient-detector.so"
tool="$root/usr/bin/detect-transients"
# HOME empty and VAMP_PATH unset: the tool has nothing to go by but its own place.
home="$tmp/home"
mkdir "$home"
alone() { env -u VAMP_PATH HOME="$home" "$@"; }

# For a prefix (the packages' /usr, then the archive's folder): the tool there must load
# the plug-in there, not one installed elsewhere on this machine.
check_version() {
  local version
  if ! version=$(alone "$1/bin/detect-transients" --version); then
    problem "$1/bin/detect-transients --version failed: $version"
  elif ! grep -qE "version [0-9]+, $1/lib/(x86_64-linux-gnu/)?vamp/transient-detector.so\$" <<<"$version"; then
    problem "$1/bin/detect-transients --version names no plug-in under $1: $version"
  fi
}
check_version "$root/usr"

echo
echo "== The plug-in in vamp-simple-host and in detect-transients"
wav="$tmp/drums.wav"
"$build/tools/make-example-recording" "$wav" >/dev/null
# Debian 12's hosts look in /usr/lib/vamp, not in the multiarch folder: the links there
# must lead them to the plug-in.
for folder in "$vamp" "$root/usr/lib/vamp"; do
  listing=$(VAMP_PATH="$folder" vamp-simple-host -l)
  if ! grep -qF "$folder/transient-detector.so:" <<<"$listing" || ! grep -qF '"TransientDetector"' <<<"$listing"; then
    problem "vamp-simple-host -l does not list $folder/transient-detector.so: $listing"
  fi
done
links=$(find "$root/usr/lib/vamp" -type l -printf '%f -> %l\n' | sort)
[ "$links" = "transient-detector.cat -> ../x86_64-linux-gnu/vamp/transient-detector.cat
transient-detector.n3 -> ../x86_64-linux-gnu/vamp/transient-detector.n3
transient-detector.so -> ../x86_64-linux-gnu/vamp/transient-detector.so" ] ||
  problem "the links in /usr/lib/vamp are not the three relative ones: $links"
# As "frame value" lines: the host labels its features with the frame when given -s.
VAMP_PATH="$vamp" vamp-simple-host -s transient-detector:TransientDetector "$wav" 2>"$tmp/host.log" |
  awk '/^ *[0-9]+: / { sub(":", ""); print $1, $2 }' >"$tmp/host" || problem "vamp-simple-host failed: $(cat "$tmp/host.log")"
alone "$tool" "$wav" | awk -F'\t' 'NF == 3 { print $2, $3 }' >"$tmp/tool" || problem "detect-transients failed"
# Frames exactly; values to the host's six digits.
if ! differences=$(paste -d' ' "$tmp/host" "$tmp/tool" | awk '
    NF != 4 || $1 != $3 || $2 - $4 > 1e-5 || $4 - $2 > 1e-5 { print "  host: " $1 " " $2 "   detect-transients: " $3 " " $4; bad = 1 }
    END { exit bad || NR == 0 }'); then
  problem "vamp-simple-host and detect-transients disagree ($(wc -l <"$tmp/host") and $(wc -l <"$tmp/tool") transients):"
  echo "$differences" >&2
else
  echo "the same $(wc -l <"$tmp/host") transients"
fi

# Built with Debian's hardening flags, the packaged plug-in must still give the tested
# build's results bit for bit, at the preferred block size and at odd ones.
tested="$top/build/tools/detect-transients"
if [ -x "$tested" ]; then
  for block in 65536 4096 333; do
    cmp -s <(alone "$tool" --block-size $block "$wav") <("$tested" --block-size $block "$wav") ||
      problem "the packaged plug-in differs from the tested build's at block size $block"
  done
  echo "the tested build's results at block sizes 65536, 4096 and 333"
else
  echo "no tested build in $top/build to compare with (tools/run-tests.sh makes it)"
fi

echo
echo "== The binaries"
for binary in "$tool" "$plugin"; do
  description=$(file -b "$binary")
  [[ $description == *", stripped"* ]] || problem "$binary is not stripped: $description"
  if paths=$(strings -a "$binary" | grep -F -e "$top" -e "$build"); then
    problem "${binary#"$root"} holds paths of the build machine:"
    echo "$paths" >&2
  fi
done
echo "transient-detector.so: $(stat -c %s "$plugin") bytes"


echo
echo "== lintian"
as_root=()
[ "$(id -u)" -eq 0 ] && as_root=(--allow-root)
# Exits 1 when lintian itself fails and 2 when it finds an error.
status=0
lintian --tag-display-limit 0 --display-info "${as_root[@]}" "${debs[@]}" >"$tmp/lintian.log" 2>&1 || status=$?
cat "$tmp/lintian.log"
if [ $status -ne 0 ] || grep -q '^E:' "$tmp/lintian.log"; then
  problem "lintian exits $status with the errors above"
fi

# Installed for real, as root and where the packages are not installed already, Debian's
# own host must find the plug-in with no VAMP_PATH; removed again whatever happens.
echo
echo "== dpkg -i"
if [ "$(id -u)" -ne 0 ]; then
  echo "skipped: needs root"
elif dpkg-query -W -f='${Status}' transient-detector libtransient-detector-dev 2>/dev/null | grep -q 'ok installed'; then
  echo "skipped: a transient-detector package is installed on this machine already"
else
  trap 'dpkg -r libtransient-detector-dev transient-detector >/dev/null 2>&1; rm -rf "$tmp"' EXIT
  if ! dpkg -i "${debs[@]}" >"$tmp/dpkg.log" 2>&1; then
    problem "dpkg -i failed: $(cat "$tmp/dpkg.log")"
  else
    listing=$(alone vamp-simple-host -l)
    grep -qF "/usr/lib/vamp/transient-detector.so:" <<<"$listing" ||
      problem "vamp-simple-host finds no installed plug-in without VAMP_PATH: $listing"
    version=$(alone detect-transients --version) || problem "detect-transients --version failed: $version"
    dpkg -r libtransient-detector-dev transient-detector >"$tmp/dpkg.log" 2>&1 || problem "dpkg -r failed: $(cat "$tmp/dpkg.log")"
    [ -e /usr/lib/vamp/transient-detector.so ] && problem "dpkg -r left /usr/lib/vamp/transient-detector.so"
    echo "installed, found by vamp-simple-host and detect-transients, removed"
  fi
fi

echo
echo "== The archive"
mkdir "$tmp/archive"
tar -xzf "${archives[0]}" -C "$tmp/archive"
check_version "$(echo "$tmp"/archive/*)"

echo
if [ $problems -ne 0 ]; then
  echo "package test: $problems problems" >&2
  exit 1
fi
echo "package test: the packages pass"
