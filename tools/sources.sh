#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Prints the C and C++ files of the tree, one a line, relative to its root: those that git tracks, and new ones that it
# does not ignore.
#
# Usage: tools/sources.sh [PATTERN...]          the patterns are git's; without one, *.c, *.cpp and *.h
#
# Exit codes: 0 printed, 1 this is no git work tree.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ $# -gt 0 ] || set -- '*.c' '*.cpp' '*.h'

# A checkout may belong to another user than the one who checks it.
git -c safe.directory='*' ls-files --cached --others --exclude-standard -- "$@" | sort -u | while IFS= read -r file; do
    [ ! -f "$file" ] || printf '%s\n' "$file"
done
