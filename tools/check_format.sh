#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Checks that every C and C++ file is laid out as .clang-format says.
#
# Usage: tools/check_format.sh           names each line that is not
#        tools/check_format.sh --fix     lays the files out
#
# Exit codes: 0 laid out, 1 not so, 2 bad usage.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
case ${1:-} in
    '') how=(--dry-run -Werror) ;;
    --fix) how=(-i) ;;
    *) echo "usage: tools/check_format.sh [--fix]" >&2; exit 2 ;;
esac
tools/sources.sh | xargs -r -d '\n' clang-format "${how[@]}" || exit 1
