#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Reads our .cpp files with clang, as many at a time as there are processors; what it finds is an error. The product is
# read by clang-tidy (.clang-tidy says what it looks for); tests, fuzzers and benchmarks by the compiler alone, without
# making code of them: to tidy them takes as long as all the rest. Both report clang's own warnings, its analysis of locks
# among them. A .cpp file that no build compiles is an error, a test too: it would be neither checked nor run.
#
# Usage: tools/check_tidy.sh BUILD-DIR... [-- FILE...]
#   BUILD-DIR   holds a compile_commands.json; a file is checked as the first build that compiles it does
#   FILE        read just these with clang-tidy (paths from the root), of whatever kind
#
# Exit codes: 0 nothing found, 1 something found, 2 bad usage.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
builds=()
while [ $# -gt 0 ] && [ "$1" != -- ]; do
    [ -f "$1/compile_commands.json" ] || { echo "check_tidy: no $1/compile_commands.json" >&2; exit 2; }
    builds+=("$1")
    shift
done
[ ${#builds[@]} -gt 0 ] || { echo "usage: tools/check_tidy.sh BUILD-DIR... [-- FILE...]" >&2; exit 2; }
[ $# -eq 0 ] || shift

named=$#
# What tests/compile/ holds must not compile as it stands; its tests run the compiler themselves.
mapfile -t files < <(if [ $# -gt 0 ]; then printf '%s\n' "$@"; else tools/sources.sh '*.cpp' ':!tests/compile'; fi)
[ ${#files[@]} -gt 0 ] || { echo "check_tidy: there are no files to check" >&2; exit 2; }

declare -A build_of=()
for build in "${builds[@]}"; do
    while IFS= read -r file; do
        : "${build_of[${file#"$PWD"/}]:=$build}"
    done < <(awk -F '"' '$2 == "file" { print $4 }' "$build/compile_commands.json")
done

failed=0
jobs=()
for file in "${files[@]}"; do
    if [ -z "${build_of[$file]:-}" ]; then
        echo "$file: no build compiles this file"
        failed=1
    elif [ "$named" -gt 0 ] || [[ $file != tests/* && $file != benchmarks/* && $file != fuzz/* ]]; then
        jobs+=(tidy_one "${build_of[$file]}" "$file")
    else
        jobs+=(compile_one "${build_of[$file]}" "$file")
    fi
done

# The findings of one file are printed together, and only if there are any.
tidy_one() {
    local said
    if ! said=$(clang-tidy --quiet -p "$1" "$2" 2>&1); then
        printf '%s\n' "$said"
        return 1
    fi
}
# With the command of the build, which must be one of clang's. The database gives it as JSON text on a line of its own.
compile_one() {
    local command
    command=$(awk -v file="$PWD/$2" '
        /^ *"command": / { command = $0 }
        /^ *"file": / && index($0, "\"" file "\"") { print command; exit }' "$1/compile_commands.json")
    command=${command#*: \"}
    command=${command%\",*}
    command=${command//\\\"/\"}
    command=${command//\\\\/\\}
    [[ $command == *clang++* ]] || { echo "$2: the build in $1 does not compile it with clang"; return 1; }
    (cd "$1" && eval "$command -fsyntax-only")
}
export -f tidy_one compile_one
if [ ${#jobs[@]} -gt 0 ]; then
    # shellcheck disable=SC2016  # the inner shell expands these
    printf '%s\n' "${jobs[@]}" | xargs -d '\n' -n 3 -P "$(nproc)" bash -c '"$@"' check_tidy || failed=1
fi
[ "$failed" -eq 0 ] || exit 1
echo "clang: ${#files[@]} files read"
