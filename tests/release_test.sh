#!/usr/bin/env bash
# What Wine's msiexec does not enforce, read from the package's tables, and the signature, with a
# throw-away CA. tests/release_test.sh ROOT EXE MSI, under the rig.
set -uo pipefail
root=$1 exe=$2 msi=$3 failed=0
check() { "$@" || { echo "FAILED: $*"; failed=1; }; }
table() { msiinfo export "$msi" "$1" | tr -d '\r'; }
row() { table "$1" | grep -Fxq -- "$2"; }
at() { table InstallExecuteSequence | awk -F'\t' -v a="$1" '$1 == a { print $3 }'; }
ordered() { while [ $# -gt 1 ]; do [ "$(at "$1")" -lt "$(at "$2")" ] || return 1; shift; done; }
check row CustomAction $'SetupPrinter\t3090\ttlpdf.exe\t-SETUP [TLPDF_DRIVER_KEYWORD] [TLPDF_DOCUMENTS_KEYWORD] [TLPDF_MACHINE_KEYWORD] -LOG[\\[][TLPDF_LOG][\\]]\t'
check row CustomAction $'RemovePrinter\t3154\ttlpdf.exe\t-UNINSTALL -LOG[\\[][TLPDF_LOG][\\]]\t'
check row InstallExecuteSequence $'SetupPrinter\tNOT REMOVE="ALL"\t'"$(at SetupPrinter)"
check row InstallExecuteSequence $'RemovePrinter\tREMOVE="ALL" AND NOT UPGRADINGPRODUCTCODE\t'"$(at RemovePrinter)"
check ordered DefaultLog DefaultDocuments DriverKeyword DocumentsKeyword MachineKeyword InstallInitialize \
    RemoveExistingProducts RemovePrinter RemoveFiles InstallFiles SetupPrinter InstallFinalize
check row Property $'ALLUSERS\t1'
check row Property $'SecureCustomProperties\tDRIVER;DOCUMENTS;MACHINE;TLPDF_LOG;WIX_UPGRADE_DETECTED;WIX_DOWNGRADE_DETECTED'

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.crt -days 2 -subj "/CN=Throwaway CA" 2>/dev/null
for use in codeSigning timeStamping; do
    openssl req -newkey rsa:2048 -nodes -keyout $use.key -subj "/CN=$use" 2>/dev/null | openssl x509 -req -CA ca.crt -CAkey ca.key \
        -days 2 -out $use.crt -extfile <(echo "keyUsage=critical,digitalSignature"; echo "extendedKeyUsage=critical,$use") 2>/dev/null
done
export TLPDF_SIGN_CERT=codeSigning.crt TLPDF_SIGN_KEY=codeSigning.key SOURCE_DATE_EPOCH=$(date +%s)
# Debian 12's own osslsigncode (2.5) makes no offline time stamp: there the stamp goes unchecked.
stamps=1
help=$(osslsigncode -h 2>&1 || true)
[[ $help == *-TSA-certs* ]] || {
    stamps=0
    echo "release_test: $(osslsigncode --version 2>&1 | head -n1 | cut -d, -f1) makes no offline time stamp: time-stamp checks SKIPPED" >&2
}
# Without a time stamp, two signings give the same bytes; a stamp holds its own clock's time.
check "$root/tools/sign.sh" "$exe" once.exe && check "$root/tools/sign.sh" "$exe" twice.exe && check cmp once.exe twice.exe
# A key that does not fit, or a stamp osslsigncode quietly leaves out: no file at all.
refused() { ! "$root/tools/sign.sh" "$exe" refused.exe 2>/dev/null && [ ! -e refused.exe ]; }
TLPDF_SIGN_KEY=timeStamping.key check refused
[ $stamps -eq 0 ] || TLPDF_SIGN_TSA_CERT=missing.crt TLPDF_SIGN_TSA_KEY=timeStamping.key check refused
cat timeStamping.crt ca.crt >tsa.crt
[ $stamps -eq 0 ] || export TLPDF_SIGN_TSA_CERT=tsa.crt TLPDF_SIGN_TSA_KEY=timeStamping.key
declare -A unsigned=([tlpdf.exe]=$exe [tlpdf.msi]=$msi)
for f in tlpdf.exe tlpdf.msi; do
    check "$root/tools/sign.sh" "${unsigned[$f]}" $f
    osslsigncode verify -in $f -CAfile ca.crt -TSA-CAfile ca.crt >$f.txt 2>&1
    check [ $? -eq 0 ] && check grep -q '^Message digest algorithm *: SHA256' $f.txt &&
        { [ $stamps -eq 0 ] || check grep -q '^Timestamp Server Signature verification: ok' $f.txt; }
    cp $f changed-$f && printf '\x5a' | dd of=changed-$f bs=1 seek=$(($(stat -c %s $f) / 3)) conv=notrunc 2>/dev/null
    check bash -c '! cmp -s "$0" "$1" && ! osslsigncode verify -in "$1" -CAfile ca.crt -TSA-CAfile ca.crt >/dev/null 2>&1' $f changed-$f
done
# The signed program still runs, and finds what the unsigned one finds.
"$WINELOADER" "$exe" -STATUS; code=$?
"$WINELOADER" tlpdf.exe -STATUS; check [ $? -eq $code ]
exit $failed
