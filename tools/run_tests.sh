#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Runs the tests of a preset that has been built, and prints how many ran. ctest's report is kept in
# build/PRESET/tests.xml for tools/check_test_count.sh.
#
# Usage: tools/run_tests.sh PRESET [CTEST-ARGUMENT...]
#
# Exit codes: 0 every test passed, 2 bad usage, otherwise ctest's own.
set -euo pipefail

[ $# -gt 0 ] || { echo "usage: tools/run_tests.sh PRESET [CTEST-ARGUMENT...]" >&2; exit 2; }
preset=$1
shift
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# The thread sanitizer of the compilers that we support cannot live with more random bits of address than 28.
runner=()
random_bits=$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)
if [ "$preset" = tsan ] && [ "$random_bits" -gt 28 ]; then
    runner=(setarch "$(uname -m)" -R)
fi

report=$PWD/build/$preset/tests.xml
rm -f "$report"
code=0
"${runner[@]}" ctest --preset "$preset" --output-junit "$report" "$@" || code=$?

if [ -f "$report" ]; then
    # How many points the tests of faults have tried.
    sed -n 's/^tried: .* points$/&/p' "$report"
    echo "tests run: $preset $(tools/check_test_count.sh --print "$preset")"
fi
exit "$code"
