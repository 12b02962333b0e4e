#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Checks that includes point one way: which folder may include which stands in the table below. Headers of ours are
# included in quotes and by their path from the root. sqlite3.h is not included by headers.
#
# Usage: tools/check_includes.sh               checks the whole tree
#        tools/check_includes.sh --self-test   checks this check, on a made-up tree
#
# Exit codes: 0 no breach, 1 breaches (each as file:line: what), 2 bad usage.
set -euo pipefail

# FOLDER  what its files may include; * is everything. A file belongs to the longest folder that matches, and a file
# in no folder of the table is a breach: a new folder has to be placed here first.
TABLE='
platform        platform
frame/common    platform frame/common
top_scene       platform frame/common top_scene
io_limit        platform frame/common io_limit
exact_preread   platform frame/common top_scene exact_preread
frame           platform frame/common top_scene io_limit exact_preread frame
host/sandbox    platform host/sandbox
host/runtime    platform host/runtime
host/services   platform host/runtime host/services
host/kernel     platform host/runtime host/kernel
host/machine    platform host/runtime host/machine
host/pages      platform host/runtime host/machine host/kernel host/pages
host/replay     platform host/runtime host/services host/kernel host/sandbox host/replay
host/report     platform host/runtime host/services host/kernel host/replay host/report
host/launch     platform host/runtime host/services host/kernel host/sandbox host/replay host/machine host/pages host/report host/launch
host/workload   platform host/runtime host/services host/kernel host/replay host/workload
host/cli        platform host/runtime host/services host/kernel host/sandbox host/replay host/machine host/pages host/report host/launch host/workload host/cli
tests           *
fuzz            *
benchmarks      *
'

# check: reads file names, relative to the current directory, from standard input; prints the breaches.
check() {
    local files
    mapfile -t files
    [ ${#files[@]} -gt 0 ] || { echo "check_includes: there are no files to check"; return 0; }
    TABLE=$TABLE awk '
        function folder_of(path,    part) {
            part = path
            while (sub(/\/[^\/]*$/, "", part))
                if (part in allowed)
                    return part
            return ""
        }
        function breach(text) {
            print FILENAME ":" FNR ": " text
        }
        BEGIN {
            count = split(ENVIRON["TABLE"], rows, "\n")
            for (i = 1; i <= count; i++) {
                cells = split(rows[i], cell, " ")
                if (cells == 0)
                    continue
                allowed[cell[1]] = 1
                split(cell[1], top, "/")
                ours[top[1]] = 1
                for (j = 2; j <= cells; j++)
                    may[cell[1], cell[j]] = 1
            }
        }
        FNR == 1 {
            here = folder_of(FILENAME)
            if (here == "")
                breach("this folder has no row in the table of tools/check_includes.sh")
        }
        /^[ \t]*#[ \t]*include/ {
            name = $0
            sub(/^[ \t]*#[ \t]*include(_next)?[ \t]*/, "", name)
            mark = substr(name, 1, 1)
            name = substr(name, 2)
            sub(/[">].*/, "", name)
            if (name ~ /(^|\/)sqlite3\.h$/ && FILENAME ~ /\.h$/)
                breach("sqlite3.h is not included by headers")
            if (here == "" || (here, "*") in may)
                next
            split(name, top, "/")
            if (mark == "<") {
                if (top[1] in ours)
                    breach("<" name "> is ours: include it in quotes")
                next
            }
            there = folder_of(name)
            if (mark != "\"")
                breach("an include must name its file")
            else if (there == "" || name ~ /(^|\/)\.\.?\//)
                breach("\"" name "\" is not the path from the root of a header of ours")
            else if (!((here, there) in may))
                breach(here " must not include " name)
        }
    ' "${files[@]}"
}

self_test() {
    local wanted got
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    cd "$scratch"
    mkdir -p platform frame/common frame top_scene exact_preread host/kernel host/replay host/newcomer tests/deep
    printf '#include "platform/log.h"\n#include <vector>\n#include "top_scene/b.h"\n#include <sqlite3.h>\n' >exact_preread/good.cpp
    printf '#include "host/kernel/a.h"\n#include "frame/x.h"\n#include <sqlite3.h>\n' >tests/deep/good.cpp
    printf '// first\n#include "host/runtime/clock.h"\n' >platform/bad.h
    printf '#include "frame/plugin.h"\n' >frame/common/bad.h
    printf '#  include "exact_preread/good.h"\n#include "bad.h"\n#include <sqlite3.h>\n' >top_scene/bad.h
    printf '\t#include "host/replay/r.h"\n#include <frame/x.h>\n#include HEADER\n' >host/kernel/bad.cpp
    printf '#include "io_limit/io_limit.h"\n#include "../kernel/a.h"\n#include "host/kernel/a.h"\n' >host/replay/bad.cpp
    printf '#include "platform/log.h"\n' >host/newcomer/bad.cpp
    wanted='frame/common/bad.h:1
host/kernel/bad.cpp:1
host/kernel/bad.cpp:2
host/kernel/bad.cpp:3
host/newcomer/bad.cpp:1
host/replay/bad.cpp:1
host/replay/bad.cpp:2
platform/bad.h:2
top_scene/bad.h:1
top_scene/bad.h:2
top_scene/bad.h:3'
    got=$(find . -type f | sed 's,^\./,,' | check | cut -d: -f1,2 | LC_ALL=C sort)
    if [ "$got" != "$wanted" ]; then
        echo "check_includes: self-test: the breaches found differ from those made:" >&2
        diff <(echo "$wanted") <(echo "$got") >&2 || true
        exit 1
    fi
}

case ${1:-} in
    '') ;;
    --self-test) self_test; exit 0 ;;
    *) echo "usage: tools/check_includes.sh [--self-test]" >&2; exit 2 ;;
esac

cd "$(dirname "${BASH_SOURCE[0]}")/.."
breaches=$(tools/sources.sh | check)
if [ -n "$breaches" ]; then
    echo "$breaches"
    exit 1
fi
