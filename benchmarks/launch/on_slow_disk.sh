#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Runs a command for which some files are on a slow disk: an image behind a loop device, of 100 MB and 4000 operations a
# second for the command and what it starts. Only the command sees it: the copies are mounted over the files in a mount
# namespace of its own. As root, where there is the blkio hierarchy of cgroup v1.
#
# Usage: benchmarks/launch/on_slow_disk.sh LIST COMMAND [ARGUMENT...]        LIST holds a path a line
#
# Exit codes: those of the command; 1 there is no slow disk to be had, 2 bad usage.
set -euo pipefail

BYTES_A_SECOND=100000000
OPERATIONS_A_SECOND=4000

# inside GROUP IMAGE FOLDER LIST COMMAND...: in the namespace; nothing that is done here outlives it.
inside() {
    local group=$1 image=$2 folder=$3 list=$4 device number file
    shift 4
    device=$(losetup --find --show --direct-io=on "$image")
    if ! mount -t ext4 -o noatime "$device" "$folder"; then
        losetup --detach "$device"
        exit 1
    fi
    # From now on it goes with its last mount.
    losetup --detach "$device"
    rm "$image"
    while IFS= read -r file; do
        [ ! -f "$file" ] || (cd / && cp --parents --preserve=all "${file#/}" "$folder")
    done <"$list"
    sync -f "$folder"
    while IFS= read -r file; do
        [ ! -f "$folder$file" ] || mount --bind "$folder$file" "$file"
    done <"$list"
    number=$(stat -c %Hd:%Ld "$folder")
    echo "$number $BYTES_A_SECOND" >"$group/blkio.throttle.read_bps_device"
    echo "$number $OPERATIONS_A_SECOND" >"$group/blkio.throttle.read_iops_device"
    echo $$ >"$group/cgroup.procs"
    exec "$@"
}

if [ "${1:-}" = --inside ]; then
    shift
    inside "$@"
fi

[ $# -ge 2 ] || { echo "usage: benchmarks/launch/on_slow_disk.sh LIST COMMAND [ARGUMENT...]" >&2; exit 2; }
hierarchy=
for candidate in /sys/fs/cgroup/*/; do
    [ ! -e "$candidate/blkio.throttle.read_iops_device" ] || hierarchy=${candidate%/}
done
if [ -z "$hierarchy" ]; then
    echo "on_slow_disk: there is no blkio hierarchy of cgroup v1 below /sys/fs/cgroup; mount it" >&2
    exit 1
fi

image=/var/tmp/slow-disk-$$.image
folder=/var/tmp/slow-disk-$$
group=$hierarchy/slow-disk-$$
finish() {
    rm -f "$image"
    [ ! -d "$folder" ] || rmdir "$folder"
    # The last process of the group may still be on its way out.
    for _ in {1..50}; do
        [ -d "$group" ] && ! rmdir "$group" 2>/dev/null || return 0
        sleep 0.1
    done
    echo "on_slow_disk: $group is left over" >&2
}
# Somebody else does it when this script and what it has started are killed.
exec 9> >(trap '' HUP INT TERM; read -r || finish)
trap 'finish; echo tidied >&9' EXIT
trap 'exit 1' HUP INT TERM
mkdir "$folder" "$group"
bytes=$(xargs -r -d '\n' stat -c %s -- <"$1" 2>/dev/null | awk '{ sum += $1 } END { print sum + 0 }') || true
truncate -s "$(((bytes + bytes / 4 >> 20) + 64))M" "$image"
mkfs.ext4 -q -F -m 0 -O ^has_journal -E lazy_itable_init=0 "$image"
unshare --mount --propagation private "${BASH_SOURCE[0]}" --inside "$group" "$image" "$folder" "$@"
