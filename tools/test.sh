#!/usr/bin/env bash
# Installs what is missing, builds both architectures and runs every test under Wine: first
# against the i686 build (the product, under WOW64), then against the x86_64 build.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/deps.sh"
"$root/tools/build.sh"
. "$root/tests/rig/rig.sh"
trap rig_stop EXIT
rig_start "$root/build/wineprefix"
status=0
if rig_can_run_32bit; then
    ctest --test-dir "$root/build/i686" --output-on-failure "$@" || status=1
else
    # Only the binary checks can run; say so loudly rather than pass quietly.
    echo "test.sh: this machine's kernel cannot start 32-bit processes (Wine's 32-bit half fails" \
         "with 'Exec format error'): the i686 tests are built but NOT run; only its binary checks are." >&2
    ctest --test-dir "$root/build/i686" --output-on-failure -R imports_and_hardening || status=1
fi
ctest --test-dir "$root/build/x86_64" --output-on-failure "$@" || status=1
exit $status
