#!/usr/bin/env bash
# Signs one file (tlpdf.exe or the MSI) with Authenticode, SHA-256: tools/sign.sh IN OUT.
# The certificate comes from the environment: TLPDF_SIGN_PFX (PKCS#12) with TLPDF_SIGN_PASSWORD,
# or TLPDF_SIGN_CERT and TLPDF_SIGN_KEY (PEM; TLPDF_SIGN_PASSWORD when the key is encrypted).
# The time stamp: TLPDF_SIGN_TIMESTAMP_URL (an RFC 3161 server), or TLPDF_SIGN_TSA_CERT and
# TLPDF_SIGN_TSA_KEY for one made here (tests). SOURCE_DATE_EPOCH, when set, is the signing time.
# OUT appears only when the file is signed, and time-stamped when a stamp was asked for.
set -euo pipefail
[ $# -eq 2 ] || { echo "usage: tools/sign.sh IN OUT" >&2; exit 2; }
in=$1 out=$2
command -v osslsigncode >/dev/null || { echo "sign.sh: missing osslsigncode; tools/deps.sh installs it" >&2; exit 1; }

args=(sign -h sha256 -n "Tessaloom PDF Setup")
if [ -n "${TLPDF_SIGN_PFX:-}" ]; then
    args+=(-pkcs12 "$TLPDF_SIGN_PFX")
elif [ -n "${TLPDF_SIGN_CERT:-}" ] && [ -n "${TLPDF_SIGN_KEY:-}" ]; then
    args+=(-certs "$TLPDF_SIGN_CERT" -key "$TLPDF_SIGN_KEY")
else
    echo "sign.sh: no certificate: set TLPDF_SIGN_PFX, or TLPDF_SIGN_CERT and TLPDF_SIGN_KEY" >&2
    exit 2
fi
# The password goes through a file only this user can read, never onto a command line that
# others can list (osslsigncode reads "-" as standard input only from 2.9 on).
passfile=
trap '[ -z "$passfile" ] || rm -f "$passfile"' EXIT
if [ -n "${TLPDF_SIGN_PASSWORD+set}" ]; then
    passfile=$(umask 077 && mktemp)
    printf '%s' "$TLPDF_SIGN_PASSWORD" >"$passfile"
    args+=(-readpass "$passfile")
fi
[ -z "${SOURCE_DATE_EPOCH:-}" ] || args+=(-time "$SOURCE_DATE_EPOCH")
stamped=1
if [ -n "${TLPDF_SIGN_TIMESTAMP_URL:-}" ]; then
    args+=(-ts "$TLPDF_SIGN_TIMESTAMP_URL")
elif [ -n "${TLPDF_SIGN_TSA_CERT:-}" ] && [ -n "${TLPDF_SIGN_TSA_KEY:-}" ]; then
    # Now, not SOURCE_DATE_EPOCH: the stamp carries the clock's time anyway, and an older time
    # could precede the stamp's certificate.
    args+=(-TSA-certs "$TLPDF_SIGN_TSA_CERT" -TSA-key "$TLPDF_SIGN_TSA_KEY" -TSA-time "$(date +%s)")
else
    stamped=0
fi

partial="$out.partial"
rm -f "$partial"
if ! report=$(osslsigncode "${args[@]}" -in "$in" -out "$partial" 2>&1); then
    rm -f "$partial"
    echo "sign.sh: $(basename "$in") was not signed; osslsigncode says:" >&2
    printf '%s\n' "$report" | sed 's/^/    /' >&2
    exit 1
fi
# osslsigncode signs without a stamp, and exits 0, when it cannot read the stamp's certificate.
# The chain is not checked here (this machine need not know the CA), so verify may fail.
if [ $stamped -eq 1 ] && ! { osslsigncode verify -in "$partial" 2>&1 || true; } | grep -q '^[[:space:]]*Timestamp time:'; then
    rm -f "$partial"
    echo "sign.sh: $(basename "$in") was signed without the time stamp asked for; osslsigncode said:" >&2
    printf '%s\n' "$report" | sed 's/^/    /' >&2
    exit 1
fi
mv -f "$partial" "$out"
