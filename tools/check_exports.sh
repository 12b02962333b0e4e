#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Checks the dynamic symbols of the plugin: it exports its four entry points at the version node 1.0 and nothing else,
# nothing keeps it mapped after dlclose (a unique symbol does, and so does the NODELETE flag), and whatever it needs is
# found in the libraries that it names.
#
# Usage: tools/check_exports.sh LIBRARY
#        tools/check_exports.sh --self-test     checks this check, on libraries made up with g++
#
# Exit codes: 0 as it should be, 1 not so (each reason is printed), 2 bad usage.
set -euo pipefail
export LC_ALL=C

EXPORTS='T OnDispatchResource@@1.0
T OnDump@@1.0
T OnPluginDisable@@1.0
T OnPluginInit@@1.0'

check() {
    local library=$1 found unique unresolved bad=0
    # A file name without a slash would be looked for in the system's folders by ldd.
    [[ $library == */* ]] || library=./$library

    # Some linkers export the version node as a symbol of its own.
    found=$(nm -D --defined-only "$library" | awk '$NF != "1.0" { print $(NF - 1), $NF }' | sort)
    if [ "$found" != "$EXPORTS" ]; then
        echo "check_exports: $library does not export exactly what it should (< expected, > found):"
        diff <(echo "$EXPORTS") <(echo "$found") || true
        bad=1
    fi

    unique=$({ nm -D "$library"; nm "$library"; } 2>/dev/null | awk '$(NF - 1) == "u" { print $NF }' | sort -u | paste -s -d ' ')
    if [ -n "$unique" ]; then
        echo "check_exports: $library has unique symbols, which keep it mapped after dlclose: $unique"
        bad=1
    fi
    if readelf -W -d "$library" | grep -q NODELETE; then
        echo "check_exports: $library is marked NODELETE, which keeps it mapped after dlclose"
        bad=1
    fi

    unresolved=$(ldd -r "$library" 2>&1 | grep -E 'undefined symbol|not found' || true)
    if [ -n "$unresolved" ]; then
        echo "check_exports: $library needs what its libraries do not give:"
        echo "$unresolved"
        bad=1
    fi
    return $bad
}

self_test() {
    local reason what flags code said entries
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    printf '1.0 { global: OnPluginInit; OnPluginDisable; OnDispatchResource; OnDump; local: *; };' >"$scratch/exact"
    printf '1.0 { global: On*; _Z*; local: *; };' >"$scratch/wide"
    printf '1.1 { global: On*; local: *; };' >"$scratch/other"
    entries='extern "C" { void OnPluginInit() {} void OnPluginDisable() {} void OnDispatchResource() {} void OnDump() {} }'
    # Each row: what the check must say (nothing: it passes), of which library, made with which flags from which code.
    while IFS='|' read -r reason what flags code; do
        # shellcheck disable=SC2086  # the flags are words
        g++ -x c++ -std=c++20 -shared -fPIC -fuse-ld=lld $flags - -o "$scratch/lib.so" <<<"$code"
        said=$(check "$scratch/lib.so") || true
        if [[ $said != *"$reason"* ]] || [[ -z $reason && -n $said ]]; then
            echo "check_exports: self-test: of a library with $what it was said: $said" >&2
            exit 1
        fi
    done <<ROWS
|the four exports|-Wl,--version-script=$scratch/exact|$entries
> T OnMore|one export more|-Wl,--version-script=$scratch/wide|$entries extern "C" void OnMore() {}
< T OnPluginDisable@@1.0|one export less|-Wl,--version-script=$scratch/wide|extern "C" { void OnPluginInit() {} void OnDump() {} }
> T OnDump@@1.1|another version|-Wl,--version-script=$scratch/other|$entries
> T OnDump|no version||$entries
has unique symbols|a unique symbol|-fgnu-unique -Wl,--version-script=$scratch/wide|$entries inline int& U() { static int u = 0; return u; } int V() { return U(); }
marked NODELETE|the NODELETE flag|-Wl,-z,nodelete -Wl,--version-script=$scratch/exact|$entries
undefined symbol: _Z7Nowherev|an undefined symbol|-Wl,--version-script=$scratch/exact|void Nowhere(); extern "C" { void OnPluginInit() { Nowhere(); } void OnPluginDisable() {} void OnDispatchResource() {} void OnDump() {} }
ROWS
}

[ $# -eq 1 ] || { echo "usage: tools/check_exports.sh LIBRARY | --self-test" >&2; exit 2; }
case $1 in
    --self-test) self_test ;;
    *)
        [ -f "$1" ] || { echo "check_exports: no file '$1'" >&2; exit 2; }
        check "$1"
        ;;
esac
