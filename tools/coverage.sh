#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Runs every test in a build that counts, and prints which share of the lines and branches of the plugin and of the host
# has run, each apart, with the lines that have not. Branches that only an exception takes are not counted: nearly every
# line has one, and nothing that can run out in a test would take them. Reports are kept in build/coverage/.
#
# Usage: tools/coverage.sh
#
# Exit codes: 0 printed, otherwise something failed, and what it said is printed.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/install_deps.sh build coverage
tools/build.sh coverage
find build/coverage -name '*.gcda' -delete
tools/run_tests.sh coverage >build/coverage/tests.log || { tail -n 40 build/coverage/tests.log >&2; exit 1; }

# Usage: report NAME FOLDER...
report() {
    local name=$1 filters=()
    shift
    for folder in "$@"; do
        filters+=(--filter "$folder/")
    done
    local log=build/coverage/$name.log
    gcovr --root . --object-directory build/coverage --exclude-throw-branches --exclude-unreachable-branches \
        "${filters[@]}" \
        --txt "build/coverage/$name.txt" --json-summary "build/coverage/$name.json" \
        --print-summary >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
    sed -n "s/^\(lines\|branches\):/$name, \1:/p" "$log"
}

report plugin frame exact_preread top_scene io_limit
report host host
printf '\nlines that did not run:\n'
for name in plugin host; do
    # The table's last column; lines that go on with more numbers have nothing in the others.
    awk '/^-+$/ { rules++; next } rules >= 2 && rules < 4 && NF && !/100%/ && $1 != "TOTAL" && $1 != "File"' "build/coverage/$name.txt"
done
