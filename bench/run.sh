#!/usr/bin/env bash
# Benchmarks tlpdf against its floors under Wine on Xvfb, in a prefix of its own: start-up,
# setup overhead (the printer installer's own time taken out) and footprint. Prints one line
# per figure, medians of N runs of each after one warm-up, ratios last.
#   bench/run.sh [N]      N defaults to 7
# BENCH_BUILD64 and BENCH_BUILD32 name configured build folders to use instead of build/x86_64
# and build/i686 (then built with cmake --build, not tools/build.sh); BENCH_PREFIX the Wine prefix.
# Figures come per build: the i686 one (the product, under WOW64) where this machine can run
# 32-bit programs, and the x86_64 one.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
runs=${1:-7}
[[ $runs =~ ^[1-9][0-9]*$ ]] || { echo "usage: bench/run.sh [N]   (N >= 1 runs)" >&2; exit 2; }
b64=${BENCH_BUILD64:-$root/build/x86_64}
b32=${BENCH_BUILD32:-$root/build/i686}
prefix=${BENCH_PREFIX:-$root/build/wineprefix-bench}

"$root/tools/deps.sh"
if [ -z "${BENCH_BUILD64:-}${BENCH_BUILD32:-}" ]; then
    "$root/tools/build.sh" >/dev/null
else
    cmake --build "$b64" -j2 >/dev/null
    cmake --build "$b32" -j2 >/dev/null
fi

. "$root/tests/rig/rig.sh"
trap rig_stop EXIT
rig_start "$prefix"

value() { sed -n "s/^$1=//p" <<<"$2"; }
median() { sort -n | awk '{ v[NR] = $1 } END { printf "%.1f\n", (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
med() { printf '%s\n' "$@" | median; }
ms() { awk -v v="$1" 'BEGIN { printf "%.1f", v / 1000 }'; }
kib() { awk -v v="$1" 'BEGIN { printf "%.0f", v / 1024 }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }

# measure BUILD LABEL: runs the probe of one build and prints its figures, each line tagged.
measure() {
    local build=$1 tag=$2
    probe() { "$WINELOADER" "$build/bin/bench_probe.exe" "$@" | tr -d '\r'; }
    probe prepare
    local -a start_t=() start_f=() ws_t=() ws_f=() total_t=() total_f=() inst_t=() inst_f=() over_t=() over_f=()
    local i a b s f
    for i in $(seq 0 "$runs"); do
        a=$(probe app tlpdf.exe tlpdf_class)
        b=$(probe app bench_floor.exe tlpdf_floor_class)
        s=$(probe setup)
        f=$(probe floorsetup)
        [ "$i" -eq 0 ] && continue  # warm-up
        start_t+=("$(value startup_us "$a")"); start_f+=("$(value startup_us "$b")")
        ws_t+=("$(value peak_ws_bytes "$a")"); ws_f+=("$(value peak_ws_bytes "$b")")
        total_t+=("$(value setup_total_us "$s")"); total_f+=("$(value setup_total_us "$f")")
        inst_t+=("$(value installer_us "$s")"); inst_f+=("$(value installer_us "$f")")
        over_t+=($(( ${total_t[-1]} - ${inst_t[-1]} ))); over_f+=($(( ${total_f[-1]} - ${inst_f[-1]} )))
    done
    local st sf ot of tt tf it iff wt wf
    st=$(med "${start_t[@]}"); sf=$(med "${start_f[@]}")
    ot=$(med "${over_t[@]}"); of=$(med "${over_f[@]}")
    tt=$(med "${total_t[@]}"); tf=$(med "${total_f[@]}")
    it=$(med "${inst_t[@]}"); iff=$(med "${inst_f[@]}")
    wt=$(med "${ws_t[@]}"); wf=$(med "${ws_f[@]}")
    echo "[$tag] startup_ms_median tlpdf=$(ms "$st") floor=$(ms "$sf")"
    echo "[$tag] setup_total_ms_median tlpdf=$(ms "$tt") floor=$(ms "$tf")"
    echo "[$tag] setup_installer_ms_median tlpdf=$(ms "$it") floor=$(ms "$iff")"
    echo "[$tag] setup_overhead_ms_median tlpdf=$(ms "$ot") floor=$(ms "$of")"
    echo "[$tag] peak_ws_kib_median tlpdf=$(kib "$wt") floor=$(kib "$wf")"
    echo "[$tag] ratio startup=$(ratio "$st" "$sf") (target <= 1.2)"
    echo "[$tag] ratio setup_overhead=$(ratio "$ot" "$of") (target <= 1.5)"
    echo "[$tag] ratio peak_ws=$(ratio "$wt" "$wf") (target <= 1.2)"
}

echo "runs $runs (after one warm-up each)"
if rig_can_run_32bit; then
    measure "$b32" i686
else
    echo "[i686] not measured: this machine cannot start 32-bit processes"
fi
measure "$b64" x86_64
et=$(stat -c %s "$b32/bin/tlpdf.exe"); ef=$(stat -c %s "$b32/bin/bench_floor.exe")
echo "exe_i686_kib tlpdf=$(kib "$et") floor=$(kib "$ef")"
echo "ratio exe_i686_to_256kib=$(ratio "$et" 262144) (target <= 1.0)"
