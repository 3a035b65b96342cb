#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only those missing, and Wine's
# 32-bit half (wine32:i386) so that the 32-bit product runs under WOW64 like on 64-bit Windows.
set -euo pipefail
# ghostscript and poppler-utils: the tests print through the whole chain, ending in Debian's gs,
# and read the PDF's text back with pdftotext. wixl and msitools build and read the MSI package
# (python3 fixes its summary information), osslsigncode signs, openssl makes the tests' certificates.
need=(cmake g++-mingw-w64-i686 g++-mingw-w64-x86-64 wine wine64 xvfb googletest imagemagick x11-utils zip
      ghostscript poppler-utils wixl msitools python3 osslsigncode openssl)
sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive

installed() { [ "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null)" = 'install ok installed' ]; }

missing=()
for p in "${need[@]}"; do installed "$p" || missing+=("$p"); done
installed wine32:i386 || missing+=(wine32:i386)
[ ${#missing[@]} -gt 0 ] || exit 0
echo "Installing: ${missing[*]}"

dpkg --print-foreign-architectures | grep -qx i386 || "${sudo_cmd[@]}" dpkg --add-architecture i386
# The security suite's i386 index may fail to download on these machines while the release's
# own indexes are fine: that failure only matters when wine32:i386 then has no candidate.
"${sudo_cmd[@]}" apt-get update -qq || echo "deps: apt-get update reported errors; going on" >&2
candidate=$(apt-cache policy wine32:i386 | sed -n 's/^ *Candidate: //p')
if [ -z "$candidate" ] || [ "$candidate" = "(none)" ]; then
    echo "deps: wine32:i386 has no installation candidate (is the i386 index missing?)" >&2
    exit 1
fi

native=()
for p in "${missing[@]}"; do [ "$p" = wine32:i386 ] || native+=("$p"); done
[ ${#native[@]} -eq 0 ] || "${sudo_cmd[@]}" apt-get install -y -qq "${native[@]}" >/dev/null

if ! installed wine32:i386; then
    # Multi-Arch "same" libraries need one version on both architectures; a few amd64 ones come
    # from the security suite, which has no usable i386 index here. Preferring the release's own
    # suites for this one command lets apt take both halves from the release. Nothing is pinned
    # system-wide and the sources stay as they are.
    prefs=$(mktemp)
    trap 'rm -f "$prefs"' EXIT
    cat >"$prefs" <<'EOF'
Package: *
Pin: release n=bookworm
Pin-Priority: 1001

Package: *
Pin: release n=bookworm-updates
Pin-Priority: 1001
EOF
    "${sudo_cmd[@]}" apt-get -o Dir::Etc::Preferences="$prefs" install -y -qq --allow-downgrades \
        wine32:i386 >/dev/null
fi
