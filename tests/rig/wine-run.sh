#!/bin/sh
# CTest's emulator: runs a Windows test executable in the rig's prefix and display.
if [ -z "${WINEPREFIX:-}" ] || [ -z "${DISPLAY:-}" ]; then
    echo "wine-run.sh: no rig; run the tests with tools/test.sh" >&2
    exit 2
fi
exec /usr/lib/wine/wine64 "$@"
