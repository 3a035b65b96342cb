#!/usr/bin/env bash
# Prints which program file includes which (a header and its source are one node) and fails
# when the includes go round in a cycle.
set -euo pipefail
cd "$(dirname "$0")/.."
edges=$(for f in app/* detect/* setup/* diag/* support/*; do
    sed -n 's,^#include "\(\(app\|detect\|setup\|diag\|support\)/[^"]*\)\.h",\1,p' "$f" |
        while read -r to; do [ "$to" = "${f%.*}" ] || echo "${f%.*} $to"; done
done | sort -u)
awk '{ deps[$1] = deps[$1] " " $2 } END { for (n in deps) print n ":" deps[n] }' <<<"$edges" | sort
# tsort names the files of each cycle on stderr and fails.
tsort <<<"$edges" >/dev/null && echo "no cycle"
