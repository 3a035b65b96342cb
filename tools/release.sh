#!/usr/bin/env bash
# Builds the product (i686, Release, without tests) and writes into dist/:
#   tlpdf-<version>.zip  tlpdf.exe, DEPLOY.txt, the sample ~tlpdf_cust.txt, SHA256SUMS over the three;
#   tlpdf-<version>.msi  the package for deployment tools (tools/msi.sh);
#   SHA256SUMS           over the zip and the MSI.
# Given a certificate (see tools/sign.sh), tlpdf.exe is signed before it goes into the zip and the
# MSI, and the MSI is signed too; without one, both are unsigned and the run says so.
# Two clones of one commit give the same bytes, signed ones too when signed without a time stamp:
# the build keeps folder names and time stamps out of the executable, the zip holds its entries
# in a fixed order with fixed dates and permissions, and the MSI's and the signatures' times are
# the commit's (SOURCE_DATE_EPOCH overrides it). Everything is made aside and moved into dist/
# only when all of it succeeded.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
signing=0
[ -z "${TLPDF_SIGN_PFX:-}${TLPDF_SIGN_CERT:-}${TLPDF_SIGN_KEY:-}" ] || signing=1
missing=()
tools=(cmake i686-w64-mingw32-g++-posix i686-w64-mingw32-windres zip sha256sum wixl msibuild msiinfo python3)
[ $signing -eq 0 ] || tools+=(osslsigncode)
for tool in "${tools[@]}"; do
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
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct 2>/dev/null || echo 946684800)}
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
mkdir "$stage/dist"
if [ $signing -eq 1 ]; then
    "$root/tools/sign.sh" "$build/bin/tlpdf.exe" "$stage/tlpdf.exe"
else
    echo "release.sh: no certificate (TLPDF_SIGN_PFX, or TLPDF_SIGN_CERT and TLPDF_SIGN_KEY): tlpdf.exe and the MSI are NOT signed"
    cp "$build/bin/tlpdf.exe" "$stage/tlpdf.exe"
fi
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
(cd "$stage" && TZ=UTC zip -X -q -9 "dist/tlpdf-$version.zip" "${files[@]}")

"$root/tools/msi.sh" "$stage/tlpdf.exe" "$version" "$stage/tlpdf.msi"
if [ $signing -eq 1 ]; then
    "$root/tools/sign.sh" "$stage/tlpdf.msi" "$stage/dist/tlpdf-$version.msi"
else
    mv "$stage/tlpdf.msi" "$stage/dist/tlpdf-$version.msi"
fi
# After signing: the sums cover the files as shipped.
shipped=("tlpdf-$version.zip" "tlpdf-$version.msi")
(cd "$stage/dist" && sha256sum "${shipped[@]}" >SHA256SUMS)
mkdir -p "$root/dist"
for f in "${shipped[@]}" SHA256SUMS; do
    mv -f "$stage/dist/$f" "$root/dist/$f"
done
(cd "$root/dist" && cat SHA256SUMS)
