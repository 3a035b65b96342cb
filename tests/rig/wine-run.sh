#!/bin/sh
# CTest's emulator: runs a Windows test executable (32- or 64-bit) in the rig's prefix and
# display. When the program fails, say how it ended, so that a run that dies before printing
# anything (Wine could not start it, it crashed) is told apart from a failed test.
if [ -z "${WINEPREFIX:-}" ] || [ -z "${DISPLAY:-}" ]; then
    echo "wine-run.sh: no rig; run the tests with tools/test.sh" >&2
    exit 2
fi
/usr/lib/wine/wine64 "$@"
status=$?
if [ $status -ne 0 ]; then
    echo "wine-run.sh: $1 ended with exit status $status ($(printf '0x%08x' $status))" >&2
    [ $status -ge 128 ] && [ $status -lt 160 ] && echo "wine-run.sh: killed by signal $((status - 128))" >&2
fi
exit $status
