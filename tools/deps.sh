#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only those missing.
set -euo pipefail
need=(cmake g++-mingw-w64-i686 g++-mingw-w64-x86-64 wine wine64 xvfb googletest imagemagick x11-utils
      ghostscript poppler-utils)
missing=()
for p in "${need[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    sudo_cmd=()
    [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
    "${sudo_cmd[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
fi
