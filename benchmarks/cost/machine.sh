#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Prints one line about the machine and the build that are measured.
set -euo pipefail

compiler=$(g++ -dumpfullversion)
memory=$(awk '$1 == "MemTotal:" { printf "%.0f", $2 / 1048576 }' /proc/meminfo)
echo "Measured on $(date -u +%F) on $(nproc) processors with $memory GB of memory, Linux $(uname -r | cut -d. -f1,2), g++ $compiler, -O2."
