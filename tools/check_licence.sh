#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Checks that every source file and script names its licence in its first lines.
#
# Usage: tools/check_licence.sh           names each file that does not
#        tools/check_licence.sh --fix     puts the line in
#
# Exit codes: 0 all name it, 1 some do not, 2 bad usage.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
LINE='SPDX-License-Identifier: Apache-2.0'
case ${1:-} in
    '' | --fix) ;;
    *) echo "usage: tools/check_licence.sh [--fix]" >&2; exit 2 ;;
esac

missing=0
while IFS= read -r file; do
    ! head -n 2 "$file" | grep -qF "$LINE" || continue
    if [ $# -eq 0 ]; then
        echo "$file: names no licence" >&2
        missing=$((missing + 1))
        continue
    fi
    case $file in
        *.cpp | *.h | *.c | *.js | *.proto) comment="// $LINE" ;;
        *.map | *.css) comment="/* $LINE */" ;;
        *.html) comment="<!-- $LINE -->" ;;
        *) comment="# $LINE" ;;
    esac
    if head -n 1 "$file" | grep -qE '^(#!|<!doctype)'; then
        sed -i "1a $comment" "$file"
    else
        sed -i "1i $comment" "$file"
    fi
done < <(git ls-files --cached --others --exclude-standard -- '*.cpp' '*.h' '*.c' '*.proto' '*.map' '*.js' '*.css' '*.html' '*.sh' \
    '*.py' '*.cmake' '*CMakeLists.txt' run test bench .ci/run .clang-format .clang-tidy)
[ "$missing" -eq 0 ]
