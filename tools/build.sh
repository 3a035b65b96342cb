#!/usr/bin/env bash
# Builds the product (i686) and the test build (x86_64) into build/<arch>.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc 2>/dev/null || echo 2)
for arch in i686 x86_64; do
    toolchain=()
    [ -f "$root/build/$arch/CMakeCache.txt" ] || toolchain=(--toolchain "$root/cmake/mingw-$arch.cmake")
    cmake -S "$root" -B "$root/build/$arch" "${toolchain[@]}" \
          -DCMAKE_BUILD_TYPE=Release -DTLPDF_BUILD_TESTS="$([ "$arch" = x86_64 ] && echo ON || echo OFF)" >/dev/null
    cmake --build "$root/build/$arch" -j"$jobs"
done
