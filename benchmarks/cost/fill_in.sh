#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Replaces one part of a text by what comes from standard input: everything between the lines
#     <!-- measured: NAME -->
#     <!-- end -->
#
# Usage: benchmarks/cost/fill_in.sh FILE NAME
#
# Exit codes: 0 replaced, 1 the file has no such part, 2 bad usage.
set -euo pipefail

[ $# -eq 2 ] || { echo "usage: benchmarks/cost/fill_in.sh FILE NAME" >&2; exit 2; }
file=$1
name=$2
grep -qxF "<!-- measured: $name -->" "$file" || { echo "fill_in: $file has no part '$name'" >&2; exit 1; }
measured=$(cat)
filled=$(MEASURED=$measured awk -v start="<!-- measured: $name -->" '
    $0 == start { print; print ""; print ENVIRON["MEASURED"]; print ""; inside = 1 }
    inside && $0 == "<!-- end -->" { inside = 0 }
    !inside && $0 != start
' "$file")
printf '%s\n' "$filled" >"$file"
