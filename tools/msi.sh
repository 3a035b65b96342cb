#!/usr/bin/env bash
# Builds the MSI package from release/tlpdf.wxs: tools/msi.sh EXE VERSION OUT.
# The release packs the i686 tlpdf.exe; the tests pack their own build's from the same source.
# One version is one product: its ProductCode is a name-based UUID of the version, and the
# package code one of everything packed. The same inputs give the same bytes: wixl's random
# package code and its creation times are replaced (times by SOURCE_DATE_EPOCH, else 2000-01-01).
set -euo pipefail
[ $# -eq 3 ] || { echo "usage: tools/msi.sh EXE VERSION OUT" >&2; exit 2; }
exe=$1 version=$2 out=$3
root=$(cd "$(dirname "$0")/.." && pwd)
for tool in wixl msibuild msiinfo python3; do
    command -v "$tool" >/dev/null || { echo "msi.sh: missing $tool; tools/deps.sh installs it" >&2; exit 1; }
done
epoch=${SOURCE_DATE_EPOCH:-946684800}
upgrade=$(sed -n 's/.*UpgradeCode="\([0-9A-F-]*\)".*/\1/p' "$root/release/tlpdf.wxs")
uuid() { python3 -c 'import sys, uuid; print(str(uuid.uuid5(uuid.UUID(sys.argv[1]), sys.argv[2])).upper())' "$@"; }

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cp "$exe" "$stage/tlpdf.exe"
cp "$root/res/tlpdf.ico" "$stage/tlpdf.ico"
sed 's/$/\r/' "$root/release/DEPLOY.txt" >"$stage/DEPLOY.txt"
# The cabinet keeps each file's date.
TZ=UTC touch -d "@$epoch" "$stage/tlpdf.exe" "$stage/DEPLOY.txt"
package=$(uuid "$upgrade" "$version $(cat "$root/release/tlpdf.wxs" "$stage/tlpdf.exe" "$stage/DEPLOY.txt" | sha256sum)")
# wixl takes file names relative to the current folder.
(cd "$stage" && wixl -a x86 -D Version="$version" -D ProductCode="$(uuid "$upgrade" "$version")" \
     -D Exe=tlpdf.exe -D Guide=DEPLOY.txt -D Icon=tlpdf.ico -o tlpdf.msi "$root/release/tlpdf.wxs")

# What wixl cannot say. Public properties reach the deferred setup only when listed as secure
# (the installation runs in the service, on behalf of a user who may not be an administrator).
# MSI compares three fields of a version: 2.1.0.17 must still replace 2.1.0.16, so the upgrade
# row includes its top version (msidbUpgradeAttributesVersionMaxInclusive); the row is written
# anew, as its key columns cannot be updated.
msibuild "$stage/tlpdf.msi" \
    -q "UPDATE \`Property\` SET \`Value\` = 'DRIVER;DOCUMENTS;MACHINE;TLPDF_LOG;WIX_UPGRADE_DETECTED;WIX_DOWNGRADE_DETECTED' WHERE \`Property\` = 'SecureCustomProperties'" \
    -q "DELETE FROM \`Upgrade\` WHERE \`ActionProperty\` = 'WIX_UPGRADE_DETECTED'" \
    -q "INSERT INTO \`Upgrade\` (\`UpgradeCode\`, \`VersionMax\`, \`Attributes\`, \`ActionProperty\`) VALUES ('{$upgrade}', '$version', 513, 'WIX_UPGRADE_DETECTED')"

# The summary information: package code and times, changed in place in the compound file.
python3 - "$stage/tlpdf.msi" "{$package}" "$epoch" <<'EOF'
import struct, sys
path, code, epoch = sys.argv[1], sys.argv[2].encode(), int(sys.argv[3])
f = bytearray(open(path, 'rb').read())
u32 = lambda at: struct.unpack_from('<I', f, at)[0]
shift, mini = 1 << struct.unpack_from('<H', f, 0x1E)[0], 1 << struct.unpack_from('<H', f, 0x20)[0]
sector = lambda n: (n + 1) * shift
fat = [u32(sector(s) + 4 * i) for s in [u32(0x4C + 4 * k) for k in range(u32(0x2C))] for i in range(shift // 4)]
def chain(start, table):
    while start < 0xFFFFFFFA:
        yield start
        start = table[start]
minifat = [u32(sector(s) + 4 * i) for s in chain(u32(0x3C), fat) for i in range(shift // 4)]
entries = [sector(s) + i for s in chain(u32(0x30), fat) for i in range(0, shift, 128)]
name = lambda e: f[e:e + struct.unpack_from('<H', f, e + 0x40)[0]].decode('utf-16-le').rstrip('\0')
entry = next(e for e in entries if name(e) == '\x05SummaryInformation')
assert u32(entry + 0x78) < u32(0x38)  # in the mini stream, as a small stream always is
container = [sector(s) + i for s in chain(u32(entries[0] + 0x74), fat) for i in range(shift)]
where = [container[m * mini + i] for m in chain(u32(entry + 0x74), minifat) for i in range(mini)]
stream = bytes(f[a] for a in where[:u32(entry + 0x78)])
section = struct.unpack_from('<I', stream, 0x2C)[0]
values = {}
for i in range(struct.unpack_from('<I', stream, section + 4)[0]):
    pid, offset = struct.unpack_from('<II', stream, section + 8 + 8 * i)
    values[pid] = section + offset
def put(pid, vt, data):  # over a value of the same type and size
    at = values[pid]
    assert stream[at:at + 4] == struct.pack('<I', vt) and (vt != 30 or stream[at + 4:at + 8] == data[:4])
    for i, byte in enumerate(data):
        f[where[at + 4 + i]] = byte
put(9, 30, struct.pack('<I', len(code) + 1) + code + b'\0')  # the package code, same length
filetime = struct.pack('<Q', (epoch + 11644473600) * 10**7)
put(12, 64, filetime)
put(13, 64, filetime)
open(path, 'wb').write(f)
EOF
msiinfo suminfo "$stage/tlpdf.msi" | grep -q "^Revision number (UUID): {$package}$" ||
    { echo "msi.sh: the package code did not take" >&2; exit 1; }
mv "$stage/tlpdf.msi" "$out"
