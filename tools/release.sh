#!/usr/bin/env bash
# Builds the product (i686, Release, without tests) and writes dist/tlpdf-<version>.zip: tlpdf.exe,
# DEPLOY.txt, the sample ~tlpdf_cust.txt and SHA256SUMS over the three. Two clones of one commit
# give the same bytes: the build keeps folder names and time stamps out of the executable, and
# the zip holds its entries in a fixed order with fixed dates and permissions.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
missing=()
for tool in cmake i686-w64-mingw32-g++-posix i686-w64-mingw32-windres zip sha256sum; do
    command -v "$tool" >/dev/null || missing+=("$tool")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "release.sh: missing ${missing[*]}; tools/deps.sh installs them" >&2
    exit 1
fi

build="$root/build/release-i686"
toolchain=()
[ -f "$build/CMakeCache.txt" ] || toolchain=(--toolchain "$root/cmake/mingw-i686.cmake")
cmake -S "$root" -B "$build" "${toolchain[@]}" -DCMAKE_BUILD_TYPE=Release -DTLPDF_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target tlpdf -j"$(nproc 2>/dev/null || echo 2)"

version=$(sed -n 's/^project(tlpdf VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
[ -n "$version" ] || { echo "release.sh: no project version in CMakeLists.txt" >&2; exit 1; }
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cp "$build/bin/tlpdf.exe" "$stage/tlpdf.exe"
# Text files for Windows: CR LF line ends.
for f in DEPLOY.txt '~tlpdf_cust.txt'; do
    sed 's/$/\r/' "$root/release/$f" >"$stage/$f"
done
files=(tlpdf.exe DEPLOY.txt '~tlpdf_cust.txt')
(cd "$stage" && sha256sum "${files[@]}" >SHA256SUMS)
files+=(SHA256SUMS)
# The zip stores each file's time (in local time) and permissions: fix both.
chmod 644 "${files[@]/#/$stage/}"
(cd "$stage" && TZ=UTC touch -d '2000-01-01 00:00:00' "${files[@]}")
mkdir -p "$root/dist"
out="$root/dist/tlpdf-$version.zip"
rm -f "$out"
(cd "$stage" && TZ=UTC zip -X -q -9 "$out" "${files[@]}")
sha256sum "$out"
