#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Holds the last test run of each preset (build/PRESET/tests.xml) against tools/test_count.txt: a test that was
# skipped, disabled or not run is a failure, and so are fewer tests than that file asks for.
#
# Usage: tools/check_test_count.sh PRESET...
#        tools/check_test_count.sh --print PRESET       prints the number of tests that ran, and checks nothing
#        tools/check_test_count.sh --self-test          checks this check, on made-up reports
#
# Exit codes: 0 as it should be, 1 not so (each reason is printed), 2 bad usage or no report.
set -euo pipefail

# numbers REPORT: prints "RAN LEFT-OUT" of one report.
numbers() {
    awk '
        function attribute(name) {
            return match($0, "[ \t]" name "=\"[0-9]+\"") ? substr($0, RSTART + length(name) + 3, RLENGTH - length(name) - 4) + 0 : 0
        }
        /<testsuite/ { inside = 1 }
        inside {
            tests += attribute("tests"); out += attribute("disabled") + attribute("skipped")
            if (/>/) { found = 1; exit }
        }
        END { if (!found) exit 1; print tests - out, out }' "$1"
}

# check REPORT PRESET COUNT-FILE
check() {
    local report=$1 preset=$2 counts=$3 ran out least pair
    [ -f "$report" ] || { echo "check_test_count: no test run of preset $preset is known" >&2; return 2; }
    pair=$(numbers "$report") || { echo "check_test_count: $report is not a test report" >&2; return 2; }
    read -r ran out <<<"$pair"
    least=$(awk -v preset="$preset" '$1 == preset { print $2 }' "$counts")
    [ -n "$least" ] || { echo "check_test_count: $counts says nothing of preset $preset" >&2; return 2; }
    if [ "$out" -gt 0 ]; then
        echo "check_test_count: $preset: $out tests were skipped, disabled or not run" >&2
        return 1
    fi
    if [ "$ran" -lt "$least" ]; then
        echo "check_test_count: $preset: $ran tests ran, $counts asks for $least" >&2
        return 1
    fi
}

self_test() {
    local code wanted tests skipped disabled
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    echo "p 3" >"$scratch/counts"
    while read -r wanted tests skipped disabled; do
        printf '<?xml version="1.0"?>\n<testsuite name="x"\n\ttests="%s"\n\tfailures="0"\n\tdisabled="%s"\n\tskipped="%s"\n>\n</testsuite>\n' \
            "$tests" "$disabled" "$skipped" >"$scratch/report"
        code=0
        check "$scratch/report" p "$scratch/counts" 2>/dev/null || code=$?
        if [ "$code" -ne "$wanted" ]; then
            echo "check_test_count: self-test: $tests tests, $skipped skipped, $disabled disabled gave $code" >&2
            exit 1
        fi
    done <<'ROWS'
0 3 0 0
0 4 0 0
1 2 0 0
1 9 1 0
1 9 0 1
ROWS
}

[ $# -gt 0 ] || { echo "usage: tools/check_test_count.sh [--print] PRESET... | --self-test" >&2; exit 2; }
cd "$(dirname "${BASH_SOURCE[0]}")/.."

case $1 in
    --self-test) self_test ;;
    --print)
        [ $# -eq 2 ] || { echo "usage: tools/check_test_count.sh --print PRESET" >&2; exit 2; }
        pair=$(numbers "build/$2/tests.xml") || exit 2
        echo "${pair% *}"
        ;;
    *)
        worst=0
        for preset in "$@"; do
            code=0
            check "build/$preset/tests.xml" "$preset" tools/test_count.txt || code=$?
            [ "$code" -le "$worst" ] || worst=$code
        done
        exit "$worst"
        ;;
esac
