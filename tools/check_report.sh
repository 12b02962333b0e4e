#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Opens reports in Chromium, without a network, at two widths: each must draw itself to its end, say nothing on the
# console, and fit into the width.
#
# Usage: tools/check_report.sh HOST [FOLDER]   HOST is the program; screenshots are left in FOLDER, if one is named
#
# Exit codes: 0 all pages are well, 1 not so, 2 bad usage.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
if [ $# -lt 1 ] || [ $# -gt 2 ] || [ ! -x "$1" ]; then
    echo "usage: tools/check_report.sh HOST [FOLDER]" >&2
    exit 2
fi
host=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
shots=${2:-$work}
mkdir -p "$shots"

# browse WIDTH PAGE ARGUMENT...: what the page is in the end; what it says on the console is in console.txt.
browse() {
    local width=$1 page=$2
    shift 2
    timeout 120 chromium --headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking \
        --hide-scrollbars --host-resolver-rules='MAP * ~NOTFOUND' --user-data-dir="$work/profile" \
        --window-size="$width,1800" --virtual-time-budget=5000 --enable-logging=stderr --v=0 "$@" "file://$page" \
        2>"$work/messages.txt"
    grep -F 'CONSOLE' "$work/messages.txt" >"$work/console.txt" || true
}

failed=0
fail() {
    echo "check_report: $1" >&2
    failed=1
}

# check NAME LEAST: the report NAME must be well and have at least so many drawings.
check() {
    local width page=$work/$1.html
    # The last thing that the page does is to say whether it is wider than the window, and whether the times of an axis
    # stand apart and within the drawing when all is seen, and as near as can be.
    cat >"$work/measure.html" <<'END'
<script>
const isApart = () => {
  const chart = document.querySelector('#run-chart svg').getBoundingClientRect();
  const boxes = [...document.querySelectorAll('#run-chart svg .muted')].map(text => text.getBoundingClientRect());
  return boxes.length > 1 && boxes.every((box, index) => box.right <= chart.right && (index === 0 || box.left > boxes[index - 1].right));
};
const said = document.documentElement.dataset;
said.fits = document.documentElement.scrollWidth <= innerWidth;
said.apart = isApart();
for (let count = 0; count < 60; ++count) document.querySelector('#run-chart button').click();
said.near = isApart();
</script>
END
    cat "$page" "$work/measure.html" >"$work/measured.html"
    for width in 1280 480; do
        browse "$width" "$work/measured.html" --dump-dom >"$work/dom.html"
        [ ! -s "$work/console.txt" ] || fail "$1 at $width: $(cat "$work/console.txt")"
        has_attribute drawn yes || fail "$1 at $width: has not been drawn to its end"
        has_attribute fits true || fail "$1 at $width: is wider than the window"
        has_attribute apart true || fail "$1 at $width: times of the axis overlap or are cut off"
        has_attribute near true || fail "$1 at $width: times of the axis overlap or are cut off when it is zoomed in"
        [ "$(grep -o '<svg' "$work/dom.html" | wc -l)" -ge "$2" ] || fail "$1 at $width: has less than $2 drawings"
        browse "$width" "$page" --screenshot="$shots/$1_$width.png" >/dev/null
    done
}

has_attribute() { grep -q "<html[^>]* data-$1=\"$2\"" "$work/dom.html"; }

# The drawings of a report are the cold start, the run, and where something was learned, the set of top scenes.
"$host" generate --days 3 --apps 12 --seed 2 --output "$work/days.jsonl" >/dev/null
for scenario in scenarios/cold_start_second scenarios/kernel_files_fail "$work/days"; do
    "$host" replay "$scenario.jsonl" --report "$work/$(basename "$scenario").html" >/dev/null
done
check cold_start_second 2
check kernel_files_fail 2
check days 3

# That the check can fail: a page that says something, and one whose script has an error.
sed 's|^for (const draw of|console.log("here"); for (const draw of|' "$work/days.html" >"$work/talking.html"
browse 1280 "$work/talking.html" --dump-dom >/dev/null
[ -s "$work/console.txt" ] || fail "a page that writes to the console is not noticed"
sed 's|^for (const draw of|undefined.x; for (const draw of|' "$work/days.html" >"$work/broken.html"
browse 1280 "$work/broken.html" --dump-dom >"$work/dom.html"
! has_attribute drawn yes || fail "a page with an error counts as drawn"
exit "$failed"
