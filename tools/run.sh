#!/usr/bin/env bash
# Builds tlpdf and starts it under Wine: on your display when there is one, otherwise on
# a private Xvfb display, where a screenshot of the main window is saved to build/screenshot.png.
# It starts the product, the 32-bit build (build/i686/bin/tlpdf.exe), under WOW64; on a machine
# that cannot start 32-bit processes it says so and starts the 64-bit build of the same sources.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/deps.sh"
"$root/tools/build.sh"
. "$root/tests/rig/rig.sh"
program="$root/build/i686/bin/tlpdf.exe"
if ! rig_can_run_32bit; then
    echo "run.sh: this machine cannot start 32-bit processes; starting the x86_64 build instead" >&2
    program="$root/build/x86_64/bin/tlpdf.exe"
fi

if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
    rig_wine_env "$root/build/wineprefix-run"
    exec "$WINELOADER" "$program" "$@"
fi

trap rig_stop EXIT
rig_start_xvfb
rig_start_wine "$root/build/wineprefix-run"
"$WINELOADER" "$program" "$@" &
for i in $(seq 1 300); do
    xwininfo -root -tree 2>/dev/null | grep -q '"Tessaloom PDF Setup"' && break
    sleep 0.1
done
# Let the first paint finish before the picture is taken.
sleep 1
import -window root "$root/build/screenshot.png"
echo "No display: the program ran on Xvfb $DISPLAY; screenshot saved to build/screenshot.png"
