#!/usr/bin/env bash
# Installs what is missing, builds both architectures and runs every test under Wine.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/deps.sh"
"$root/tools/build.sh"
. "$root/tests/rig/rig.sh"
trap rig_stop EXIT
rig_start "$root/build/wineprefix"
status=0
ctest --test-dir "$root/build/i686" --output-on-failure || status=1
ctest --test-dir "$root/build/x86_64" --output-on-failure -j2 "$@" || status=1
exit $status
