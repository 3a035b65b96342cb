# Test rig: a Wine prefix owned by the build, a persistent wineserver and an Xvfb display.
# Source this file, then call rig_start PREFIX and rig_stop (also from a trap).
# Only the processes started here are stopped, by pid or by this prefix's wineserver.

RIG_XVFB_PID=""
RIG_SERVER_PID=""

rig_log() { echo "rig: $*" >&2; }

rig_wine_env() {
    # Unix file names in UTF-8, so that a Documents folder with an accented letter reaches gs.
    [ -n "${LANG:-}" ] || export LANG=C.UTF-8
    export WINEPREFIX="$1" WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
    export WINELOADER=/usr/lib/wine/wine64
}

rig_start_xvfb() {
    local fdfile i
    fdfile=$(mktemp)
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$fdfile" >/dev/null 2>&1 &
    RIG_XVFB_PID=$!
    for i in $(seq 1 200); do
        [ -s "$fdfile" ] && break
        kill -0 "$RIG_XVFB_PID" 2>/dev/null || { rig_log "Xvfb did not start"; return 1; }
        sleep 0.05
    done
    [ -s "$fdfile" ] || { rig_log "Xvfb gave no display number"; return 1; }
    export DISPLAY=":$(head -n1 "$fdfile")"
    rm -f "$fdfile"
    rig_log "Xvfb pid $RIG_XVFB_PID on $DISPLAY"
}

# Whether this machine can start 32-bit processes: Wine's 32-bit half needs the kernel's
# 32-bit support, which some virtual machines leave out (exec then fails with ENOEXEC).
rig_can_run_32bit() {
    [ -x /usr/lib/wine/wine ] && /usr/lib/wine/wine --version >/dev/null 2>&1
}

rig_start_wine() {
    local prefix=$1 fresh=0
    rig_wine_env "$prefix"
    [ -f "$prefix/system.reg" ] || fresh=1
    # A prefix made while 32-bit programs could not run has an empty syswow64, and every
    # 32-bit program then fails with "could not load kernel32.dll": make it again.
    if [ $fresh -eq 0 ] && rig_can_run_32bit && [ ! -e "$prefix/drive_c/windows/syswow64/kernel32.dll" ]; then
        rig_log "re-creating $prefix: it has no 32-bit system folder"
        rm -rf "$prefix"
        fresh=1
    fi
    mkdir -p "$prefix"
    if [ $fresh -eq 1 ]; then
        rig_log "creating Wine prefix $prefix"
        "$WINELOADER" wineboot -i >/dev/null 2>&1 || true
        wineserver -w
    fi
    # Wine links the user's folders (Documents among them) to $HOME: the tests' data folder and
    # trace would then be shared with every other prefix on the machine. Own folders instead.
    local link
    for link in "$prefix"/drive_c/users/*/*; do
        if [ -L "$link" ]; then
            rm -f "$link" && mkdir -p "$link"
        fi
    done
    # Drive N: stands for a network share: Wine reports a drive as remote when its Drives key says
    # so, read when the session starts, so it is written before the persistent server comes up.
    mkdir -p "$prefix/drive_c/tlpdf-network/docs"
    # Ghostscript's PDF printer description, for the test printer's driver.
    cp /usr/share/ghostscript/*/lib/ghostpdf.ppd "$prefix/drive_c/tlpdf-ghostpdf.ppd" 2>/dev/null || true
    ln -sfn ../drive_c/tlpdf-network "$prefix/dosdevices/n:"
    "$WINELOADER" reg add 'HKLM\Software\Wine\Drives' /v n: /d network /f >/dev/null 2>&1
    wineserver -w
    wineserver -f -p >/dev/null 2>&1 &
    RIG_SERVER_PID=$!
    # No window manager: unmanaged windows avoid Wine's 2 s wait on hide/destroy;
    # a crash must print to stderr instead of opening a dialog that hangs a test.
    "$WINELOADER" reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /t REG_SZ /d N /f >/dev/null 2>&1
    "$WINELOADER" reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1
    rig_log "wineserver pid $RIG_SERVER_PID for $WINEPREFIX"
}

rig_start() {
    rig_start_xvfb && rig_start_wine "$1"
}

rig_stop() {
    if [ -n "$RIG_SERVER_PID" ]; then
        # Ends the Wine processes of this prefix only, then the server we started.
        wineserver -k >/dev/null 2>&1 || true
        kill "$RIG_SERVER_PID" 2>/dev/null || true
        wait "$RIG_SERVER_PID" 2>/dev/null || true
        RIG_SERVER_PID=""
    fi
    if [ -n "$RIG_XVFB_PID" ]; then
        kill "$RIG_XVFB_PID" 2>/dev/null || true
        wait "$RIG_XVFB_PID" 2>/dev/null || true
        RIG_XVFB_PID=""
    fi
}
