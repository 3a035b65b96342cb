#!/usr/bin/env bash
# Builds the product (i686) and the same sources for x86_64, each with its tests, into build/<arch>.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc 2>/dev/null || echo 2)
for arch in i686 x86_64; do
    toolchain=()
    [ -f "$root/build/$arch/CMakeCache.txt" ] || toolchain=(--toolchain "$root/cmake/mingw-$arch.cmake")
    cmake -S "$root" -B "$root/build/$arch" "${toolchain[@]}" \
          -DCMAKE_BUILD_TYPE=Release -DTLPDF_BUILD_TESTS=ON >/dev/null
    cmake --build "$root/build/$arch" -j"$jobs"
done
