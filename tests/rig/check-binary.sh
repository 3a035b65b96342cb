#!/usr/bin/env bash
# Checks a built executable: only Windows' KnownDLLs imported (any other DLL the loader would look
# for beside the program first, where a planted copy would run elevated; comctl32 comes from the
# side-by-side store named in the manifest), GUI subsystem, ASLR and DEP flags set, stack
# protector linked in.
set -u
exe=$1 triple=$2
fail=0
dump=$("$triple-objdump" -p "$exe") || { echo "objdump failed on $exe"; exit 1; }
allowed='^(kernel32|user32|gdi32|advapi32|shell32|ole32|oleaut32|comdlg32|shlwapi|msvcrt|ws2_32|ntdll|comctl32)\.dll$'
dlls=$(printf '%s\n' "$dump" | sed -n 's/^[[:space:]]*DLL Name: //p' | tr 'A-Z' 'a-z' | sort -u)
[ -n "$dlls" ] || { echo "FAIL: no import table found"; fail=1; }
for d in $dlls; do
    if printf '%s\n' "$d" | grep -Eq "$allowed"; then echo "import ok: $d"; else echo "FAIL: imports non-system DLL $d"; fail=1; fi
done
for flag in DYNAMIC_BASE NX_COMPAT; do
    printf '%s\n' "$dump" | grep -q "$flag" && echo "flag ok: $flag" || { echo "FAIL: $flag not set"; fail=1; }
done
printf '%s\n' "$dump" | grep -Eq '^Subsystem[[:space:]]+0*2[[:space:]]' && echo "subsystem ok: Windows GUI" \
    || { echo "FAIL: not a GUI executable"; fail=1; }
# The product is stripped: look for the protector's own failure text instead of its symbol.
grep -aq 'stack smashing detected' "$exe" && echo "stack protector ok" \
    || { echo "FAIL: stack protector not linked"; fail=1; }
exit $fail
