#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Starts real programs cold, with the plugin and without, and prints tables and what was aimed at. As root; ./bench
# launch installs and builds what it needs first. Everything takes half an hour or more: each program's starts
#   --cold   with the disk's read-ahead at 128 KiB and as the machine has it, the preread beginning with the process and
#            100 ms before it; in the same run with vmtouch and with a record of the page cache in the plugin's place
#   --busy   beside two processes that read from the disk, which the plugin limits
#   --slow   from a disk of 100 MB/s and 4000 operations a second
#
# Usage: benchmarks/launch/launch.sh [--cold] [--busy] [--slow] [-n RUNS | --quick] [--json DIR] [PROGRAM...]
#   without a part, all three; without a PROGRAM, all that are installed of: clang-tidy clangd python3 gdb node git
#   cmake java g++ chromium
#   -n RUNS      how many starts of each kind, 5 if nothing is said
#   --quick      two of each
#   --json DIR   keeps what was measured; benchmarks/launch/launch_tables.py DIR prints the tables again
#   --check      looks at the arguments only
#
# Exit codes: 0 measured, whatever came of it, 1 something could not be measured, 2 bad usage.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
bin=$root/build/release/bin
host=$bin/iosched-host
ALL_PROGRAMS=(clang-tidy clangd python3 gdb node git cmake java g++ chromium)
PYTHON_MODULES=argparse,asyncio,bz2,concurrent.futures,csv,ctypes,datetime,decimal,difflib,email.message,fractions
PYTHON_MODULES+=,hashlib,http.client,http.server,json,logging.config,lzma,multiprocessing,pathlib,pickle,pydoc,random
PYTHON_MODULES+=,sqlite3,ssl,statistics,subprocess,tarfile,tempfile,typing,unittest,urllib.request,uuid,xml.dom.minidom
PYTHON_MODULES+=,xml.etree.ElementTree,zipfile

usage() {
    echo "launch: $1; usage: ./bench launch [--cold] [--busy] [--slow] [-n RUNS | --quick] [--json DIR] [PROGRAM...]" >&2
    exit 2
}

arguments=("$@")
runs=5
parts=()
programs=()
results=
only_check=
while [ $# -gt 0 ]; do
    case $1 in
        --cold | --busy | --slow) parts+=("${1#--}") ;;
        --quick) runs=2 ;;
        -n)
            runs=${2:-}
            [[ $runs =~ ^[1-9][0-9]{0,2}$ ]] || usage "-n takes a number from 1 to 999"
            shift
            ;;
        --json)
            results=${2:-}
            [ -n "$results" ] || usage "--json takes a folder"
            shift
            ;;
        --check) only_check=yes ;;
        *)
            [[ " ${ALL_PROGRAMS[*]} " == *" $1 "* ]] || usage "there is no program '$1'; there are ${ALL_PROGRAMS[*]}"
            programs+=("$1")
            ;;
    esac
    shift
done
[ ${#parts[@]} -gt 0 ] || parts=(cold busy slow)
[ -z "$only_check" ] || exit 0
# In a mount namespace of its own, so that no mount outlives it.
if [ "${IOSCHED_BENCH_INSIDE:-}" != yes ]; then
    IOSCHED_BENCH_INSIDE=yes exec unshare --mount --propagation private "${BASH_SOURCE[0]}" "${arguments[@]}"
fi
unset IOSCHED_BENCH_INSIDE

# The disk that programs are read from, and its read-ahead.
number=$(stat -c %Hd:%Ld /usr/bin/env)
[ ! -e "/sys/dev/block/$number/partition" ] || number=$(cat "/sys/dev/block/$number/../dev")
read_ahead=/sys/class/bdi/$number/read_ahead_kb
if [ ! -w "$read_ahead" ]; then
    echo "launch: the read-ahead of the disk $number cannot be changed through $read_ahead" >&2
    exit 1
fi
own_read_ahead=$(cat "$read_ahead")

# What the programs work on is on the disk; what reads ahead is not, so that nothing of it has to be read first.
work=$(mktemp -d /var/tmp/iosched-bench.XXXXXX)
tools=$work/tools
finish() {
    # A launch that was killed holds the setting until it has written back what it found.
    { flock -w 90 8 || true; echo "$own_read_ahead" >"$read_ahead"; } 8<"$read_ahead"
    ! mountpoint -q "$tools" || umount "$tools"
    rm -rf "$work"
}
# Somebody else does it when this script and what it has started are killed.
exec 9> >(trap '' HUP INT TERM; read -r || finish)
trap 'finish; echo tidied >&9' EXIT
trap 'exit 1' HUP INT TERM

mkdir "$tools"
mount -t tmpfs tmpfs "$tools"
cp "$bin/cache_record" "$bin/libiosched_platform.so" "$(command -v vmtouch)" "$tools"
results=${results:-$work/results}
mkdir -p "$results"
printf 'int main() { int* pointer = 0; return pointer != 0; }\n' >"$work/small.cpp"
printf '#include <iostream>\nint main() { std::cout << 1; }\n' >"$work/iostream.cpp"
g++ -g -o "$work/small" "$work/small.cpp"
mkdir "$work/tree"
cp -r "$root/host" "$root/docs" "$work/tree"
git -C "$work/tree" init -q
git -C "$work/tree" add .

# Sets `command`; false for a program that is not installed.
find_command() {
    case $1 in
        clang-tidy) command=(/usr/bin/clang-tidy '--checks=-*,modernize-*' "$work/small.cpp" -- -std=c++20) ;;
        clangd) command=(/usr/bin/clangd "--check=$work/small.cpp") ;;
        python3) command=(/usr/bin/python3 -c "import $PYTHON_MODULES") ;;
        gdb) command=(/usr/bin/gdb --batch -nx -ex 'info line main' "$work/small") ;;
        node) command=(/usr/bin/node -e 0) ;;
        git) command=(/usr/bin/git --no-optional-locks -C "$work/tree" status --short) ;;
        cmake) command=(/usr/bin/cmake -E capabilities) ;;
        java) command=(/usr/bin/java -version) ;;
        g++) command=(/usr/bin/g++ -fsyntax-only "$work/iostream.cpp") ;;
        chromium) command=(/usr/bin/chromium --headless --no-sandbox --disable-gpu "--user-data-dir=$work/profile"
            --dump-dom about:blank) ;;
    esac
    [ -x "${command[0]}" ]
}

failed=0
say() { printf '%s\n' "$*" >&2; }
# Runs a command in silence; what it has said is shown when it fails.
quietly() {
    if ! "$@" </dev/null >"$work/said" 2>&1; then
        tail -n 20 "$work/said" >&2
        say "launch: failed: $*"
        failed=$((failed + 1))
        return 1
    fi
}

# Which files a start of `command` reads, in the order in which it comes to them.
list_files() {
    local scene
    rm -rf "$work/data"
    mkdir "$work/data"
    quietly "$host" launch -n 1 --data "$work/data" -- "${command[@]}" || return 1
    # A start that changes files leaves a record that is older, with the others all the same.
    scene=$("$host" records "$work/data" | awk '$1 ~ "/" { print $1 }' | tail -n 1)
    "$host" records "$work/data" "$scene" | sed -n 's/^  \(\/.*\)  [0-9]* pages\{0,1\}, .*$/\1/p' |
        while IFS= read -r file; do [ ! -f "$file" ] || printf '%s\n' "$file"; done >"$tools/files"
    if [ ! -s "$tools/files" ]; then
        say "launch: failed: no record tells the files of ${command[*]}"
        failed=$((failed + 1))
        return 1
    fi
}

# What is in the page cache after a cold start.
record_cache() {
    sync
    echo 3 >/proc/sys/vm/drop_caches
    "${command[@]}" </dev/null >/dev/null 2>&1 || true
    quietly "$tools/cache_record" save "$tools/cache" "$tools/files"
}

measure_cold() {
    local kib ms name
    for kib in $(printf '%s\n' 128 "$own_read_ahead" | sort -nu); do
        echo "$kib" >"$read_ahead"
        record_cache || return 0
        for ms in 0 100; do
            say "$1: read-ahead $kib KiB, head start $ms ms"
            name=$results/cold.$1.$kib.$ms
            quietly "$host" launch -n "$runs" --head-start "$ms" --json "$name.launch.json" -- "${command[@]}" || continue
            quietly "$bin/timed_start" -n "$runs" --head-start "$ms" --json "$name.others.json" \
                --with "vmtouch=$tools/vmtouch -t -q -b $tools/files" \
                --with "cacheRecord=$tools/cache_record replay $tools/cache" -- "${command[@]}" || true
        done
    done
    echo "$own_read_ahead" >"$read_ahead"
}

measure_busy() {
    say "$1: two background readers"
    quietly "$host" launch -n "$runs" --background 2 --json "$results/busy.$1.json" -- "${command[@]}" || true
}

measure_slow() {
    say "$1: slow disk"
    quietly "$root/benchmarks/launch/on_slow_disk.sh" "$tools/files" "$host" launch -n "$runs" \
        --json "$results/slow.$1.json" -- "${command[@]}" || true
}

for program in "${programs[@]:-${ALL_PROGRAMS[@]}}"; do
    if ! find_command "$program"; then
        say "$program: not installed, left out"
        continue
    fi
    list_files || continue
    for part in "${parts[@]}"; do
        "measure_$part" "$program"
    done
done

python3 "$root/benchmarks/launch/launch_tables.py" "$results"
[ "$failed" -eq 0 ] || { say "launch: $failed measurements failed"; exit 1; }
