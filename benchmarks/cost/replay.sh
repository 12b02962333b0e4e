#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# How long a replay in virtual time takes an event, and what memory it needs, as the scenario grows tenfold: neither may
# grow with it. Prints a Markdown table. Two kinds of scenario:
#   persons' days   as `iosched-host generate` makes them: a fifth of the events bind a scene, and there are seven or
#                   eight requests to the files of the modelled kernel for each event
#   mixed events    what a busy device sends: of 1000 events 538 of user input, 200 of types that mean nothing here, 150
#                   starts of system processes, 20 page pushes (half of them of 100 scenes, half of 500 others), 50
#                   for the lists of who is not limited, 10 of slides, 2 of the screen (whoever charges trains then),
#                   30 whose payload is wrong
#
# Usage: benchmarks/cost/replay.sh [--events N]
#   --events N   of the long scenario, 1000000 if nothing is said; the short one has a tenth
#
# Exit codes: 0 measured, 1 something could not be measured, 2 bad usage.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
host=$root/build/release/bin/iosched-host
events=1000000

usage() {
    echo "replay: $1; usage: benchmarks/cost/replay.sh [--events N]" >&2
    exit 2
}

fail() {
    echo "replay: $1" >&2
    exit 1
}

while [ $# -gt 0 ]; do
    case $1 in
        --events)
            [[ ${2-} =~ ^[1-9][0-9]{2,7}$ ]] || usage "--events needs a number from 100 to 99999999"
            events=$2
            shift
            ;;
        *) usage "unknown argument $1" ;;
    esac
    shift
done
[ -x "$host" ] || fail "needs $host: build the release preset first"
[ -x /usr/bin/time ] || fail "needs GNU time (package time)"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Days of as many events as asked for, in $work/NAME.jsonl.
make_days() {
    local days=$(($2 / 1700 + 2))
    "$host" generate --days "$days" --apps 60 --seed 1 --output "$work/whole.jsonl" >"$work/made"
    awk -v wanted="$2" '{ print } /^{"t":[0-9]*,"event"/ && ++count == wanted { exit }' "$work/whole.jsonl" \
        >"$work/$1.jsonl"
    mv "$work/whole.device.json" "$work/$1.device.json"
    rm "$work/whole.jsonl"
}

make_mixed() {
    awk -v wanted="$2" -v device="$work/$1.device.json" '
        # The same on every machine.
        function below(limit) {
            state = state * 16807 % 2147483647
            return state % limit
        }
        function event(type, value, payload) {
            printf "{\"t\":%d,\"event\":{\"type\":%d,\"value\":%d,\"payload\":%s}}\n", now, type, value, payload
        }
        function application(number) {
            return sprintf("\"bundleName\":\"com.example.app%d\",\"uid\":\"%d\"", number, 20010000 + number)
        }
        BEGIN {
            state = 1
            APPLICATIONS = 20
            SYSTEM_PROCESSES = 30
            split("2 5 6 14 20 31 60 10020", ignored, " ")
            split("3 12 70 83", listed, " ")

            printf "{\"bundles\":{\"com.example.system\":{\"uid\":1000,\"systemApp\":true,\"removable\":false}" >device
            for (i = 0; i < APPLICATIONS; ++i) {
                printf ",\"com.example.app%d\":{\"uid\":%d}", i, 20010000 + i >device
            }
            printf "},\"processes\":{\"500\":{\"uid\":1000,\"bundles\":[\"com.example.system\"]}" >device
            for (i = 0; i < APPLICATIONS; ++i) {
                printf ",\"%d\":{\"uid\":%d,\"bundles\":[\"com.example.app%d\"]}", 2000 + i, 20010000 + i, i >device
            }
            print "}}" >device

            for (made = 0; made < wanted; ++made) {
                now += 200 + below(1000)
                kind = below(1000)
                one = below(APPLICATIONS)
                if (kind < 2) {
                    event(0, kind, "{}")
                } else if (kind < 540) {
                    event(9, 1, "{}")
                } else if (kind < 740) {
                    event(ignored[1 + below(8)], below(3), "{" application(one) "}")
                } else if (kind < 890) {
                    pid = 500 + below(SYSTEM_PROCESSES)
                    event(4, 0, "{\"bundleName\":\"com.example.system\",\"uid\":\"1000\",\"pid\":\"" pid "\"}")
                } else if (kind < 910) {
                    isDone = one in shown
                    page = isDone ? shown[one] : kind % 2 == 0 ? "Often" below(5) : "item/" below(25)
                    payload = "{" application(one) ",\"clientPid\":\"" 2000 + one "\",\"pageUrl\":\"pages/" page "\"}"
                    event(10, isDone, payload)
                    if (isDone) {
                        delete shown[one]
                    } else {
                        shown[one] = page
                    }
                } else if (kind < 960) {
                    event(listed[1 + below(4)], below(2), "{" application(one) ",\"pid\":\"" 2000 + one "\"}")
                } else if (kind < 970) {
                    event(11, slides++ % 2 == 0 ? 1 : 0, "{}")
                } else {
                    event(below(2) ? 10 : 4, 0, below(2) ? "null" : "{\"bundleName\":7}")
                }
            }
        }' >"$work/$1.jsonl"
}

grouped() {
    sed -E ':again; s/^([0-9]+)([0-9]{3})/\1,\2/; t again' <<<"$1"
}

# Replays NAME and sets `seconds`, `cpu`, `memory` in KiB and `played`.
measure() {
    local user system
    /usr/bin/time -o "$work/cost" -f '%e %U %S %M' "$host" replay "$work/$1.jsonl" >"$work/summary" ||
        fail "the replay of $1 failed"
    read -r seconds user system memory <"$work/cost"
    cpu=$(awk "BEGIN { printf \"%.1f\", $user + $system }")
    played=$(sed -nE 's/^ *([0-9]+) events, .*/\1/p' "$work/summary")
    [ "$played" = "$2" ] || fail "$played events where $2 were to be replayed"
}

echo "| Scenario | Events | Seconds | Of the processor | Events a second | Peak memory | Time an event, to a tenth of the events | Peak memory, to a tenth of the events |"
echo "|---|---|---|---|---|---|---|---|"
for kind in "persons' days:make_days" "mixed events:make_mixed"; do
    make=${kind#*:}
    short_seconds=
    short_memory=
    for count in $((events / 10)) "$events"; do
        "$make" replayed "$count" || fail "cannot make ${kind%:*}"
        measure replayed "$count"
        ratios=$(awk -v seconds="$seconds" -v short="${short_seconds:-0}" -v memory="$memory" \
            -v least="${short_memory:-0}" 'BEGIN {
                if (short == 0) { print "1 | 1" } else { printf "%.2f | %.2f\n", seconds / short / 10, memory / least }
            }')
        rate=$(awk "BEGIN { printf \"%d\", $count / ($seconds > 0.01 ? $seconds : 0.01) }")
        mib=$(awk "BEGIN { printf \"%.1f\", $memory / 1024 }")
        echo "| ${kind%:*} | $(grouped "$count") | $seconds | $cpu | $(grouped "$rate") | $mib MiB | $ratios |"
        short_seconds=$seconds
        short_memory=$memory
    done
done
