#!/usr/bin/env bash
# The printer's pipeline for real: run the setup in the test prefix, take the port's Command
# and Arguments as written to the registry, and run this machine's Ghostscript with them the
# way RedMon runs gswin32c.exe: a two-page job with accented text on standard input. The PDF
# must appear where the response file says, with two pages and the text intact.
# Usage: pipeline-test.sh PIPELINE_SETUP_EXE WORK_FOLDER   (inside the rig: WINEPREFIX, DISPLAY set)
set -u
tool=$1 work=$2
wine=/usr/lib/wine/wine64
export LC_ALL=C.UTF-8
mkdir -p "$work"
fail=0

winpath_to_unix() { "$wine" winepath -u "$1" 2>/dev/null | tr -d '\r'; }
unix_to_winpath() { "$wine" winepath -w "$1" 2>/dev/null | tr -d '\r'; }

cat > "$work/job.ps" <<'PS'
%!PS
/Helvetica findfont dup length dict begin
  { 1 index /FID ne { def } { pop pop } ifelse } forall
  /Encoding ISOLatin1Encoding def currentdict
end /Helvetica-Latin1 exch definefont pop
/Helvetica-Latin1 findfont 24 scalefont setfont
72 700 moveto (Page one: caf\351 na\357ve \374ber) show showpage
72 700 moveto (Page two: \340 bient\364t) show showpage
PS

run_case() {
    local name=$1 documents=${2:-}
    local report="$work/$name-report.txt"
    rm -f "$report"
    if ! "$wine" "$tool" "$(unix_to_winpath "$report")" ${documents:+"$documents"} >"$work/$name-setup.log" 2>&1; then
        echo "FAIL [$name]: the setup did not succeed"; cat "$work/$name-setup.log"; return 1
    fi
    local command arguments rsp
    command=$(sed -n 1p "$report"); arguments=$(sed -n 2p "$report"); rsp=$(sed -n 3p "$report")
    case "$command" in *'\gswin32c.exe') ;; *) echo "FAIL [$name]: Command is $command"; return 1 ;; esac
    if [ "$arguments" != "@\"$rsp\" -c save pop -f -" ]; then
        echo "FAIL [$name]: Arguments are $arguments"; return 1
    fi
    local rsp_unix; rsp_unix=$(winpath_to_unix "$rsp")
    [ -f "$rsp_unix" ] || { echo "FAIL [$name]: no response file at $rsp_unix"; return 1; }
    if head -c 3 "$rsp_unix" | grep -q $'\xEF\xBB\xBF'; then echo "FAIL [$name]: byte-order mark"; return 1; fi
    # Ghostscript reads the file as UTF-8: the folder's own name must stand there in UTF-8.
    local expected=${documents//\\//}
    if [ -n "$documents" ] && ! grep -qF "${expected//%/%%}" "$rsp_unix"; then
        echo "FAIL [$name]: the response file does not hold ${documents//\\//} in UTF-8"; return 1
    fi

    # The response file names a Windows path for the PDF; this Ghostscript needs the Unix one.
    # Only the drive is translated: the rest, a doubled "%" included, reaches Ghostscript as the
    # program wrote it, and the PDF must appear where Ghostscript's unescaping puts it.
    local out_win out_file out_unix drive content
    out_win=$(grep -o 'sOutputFile="[^"]*"' "$rsp_unix" | sed 's/^sOutputFile="//; s/"$//')
    case "$out_win" in C:/*) ;; *) echo "FAIL [$name]: output $out_win is not on drive C:"; return 1 ;; esac
    drive=$(winpath_to_unix 'C:\')
    drive=${drive%/}
    out_file=${out_win//%%/%}
    out_unix=$drive/${out_file#C:/}
    content=$(cat "$rsp_unix")
    printf '%s\n' "${content//sOutputFile=\"C:\//sOutputFile=\"$drive/}" > "$work/$name.rsp"
    rm -f "$out_unix"

    # The port's arguments with the response file's path translated, split as a command line.
    local translated="${arguments//"$rsp"/$work/$name.rsp}"
    eval "set -- $translated"
    if ! gs -q "$@" < "$work/job.ps" > "$work/$name-gs.log" 2>&1; then
        echo "FAIL [$name]: Ghostscript failed"; cat "$work/$name-gs.log"; return 1
    fi
    [ -f "$out_unix" ] || { echo "FAIL [$name]: no PDF at $out_unix"; ls "$(dirname "$out_unix")"; return 1; }
    local pages; pages=$(pdfinfo "$out_unix" 2>/dev/null | sed -n 's/^Pages:[[:space:]]*//p')
    [ "$pages" = 2 ] || { echo "FAIL [$name]: $pages pages"; return 1; }
    pdftotext "$out_unix" - 2>/dev/null | grep -q 'café naïve über' || { echo "FAIL [$name]: accents lost"; return 1; }
    echo "ok [$name]: $out_file has 2 pages"
}

run_case plain || fail=1
run_case awkward 'C:\users\José Ünal\Documents' || fail=1
# "%d" is a page-number format to Ghostscript: unescaped, each page would go to a file of its own.
run_case percent 'C:\users\Ana 100%done\Documents' || fail=1
exit $fail
