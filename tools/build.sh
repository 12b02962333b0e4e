#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Configures a CMake preset if that has not been done since the presets last changed, and builds it. Prints nothing
# unless something fails; on a terminal, the one line of progress is shown.
#
# Usage: tools/build.sh PRESET [TARGET...]        without a target, everything is built
#
# Exit codes: 0 built, 1 failed, 2 bad usage.
set -euo pipefail

[ $# -gt 0 ] || { echo "usage: tools/build.sh PRESET [TARGET...]" >&2; exit 2; }
preset=$1
shift
cd "$(dirname "${BASH_SOURCE[0]}")/.."

dir=build/$preset
log=$dir/build.log
stamp=$dir/.configured
mkdir -p "$dir"

quietly() {
    if ! "$@" </dev/null >"$log" 2>&1; then
        cat "$log" >&2
        echo "build: preset $preset failed: $*" >&2
        exit 1
    fi
}

# The build follows changes of the CMake files by itself; of the presets it knows nothing.
if [ ! -f "$dir/build.ninja" ] || [ ! -f "$stamp" ] || [ CMakePresets.json -nt "$stamp" ]; then
    rm -f "$stamp"
    quietly cmake --preset "$preset"
    touch "$stamp"
fi

build=(cmake --build --preset "$preset")
[ $# -eq 0 ] || build+=(--target "$@")
if [ ! -t 2 ]; then
    quietly "${build[@]}" -- --quiet
elif ! "${build[@]}" -- -n | grep -q 'no work to do'; then
    "${build[@]}" >&2 || exit 1
fi
