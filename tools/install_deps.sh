#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages that building, running and checking this project need, and only those that are missing:
# when nothing is missing, nothing is run and nothing is printed.
#
# Usage: tools/install_deps.sh PURPOSE...
#   build     compile, run and test (what ./run and ./test need)
#   ci        the tools of the other checks in .ci/run
#   coverage  what tools/coverage.sh needs
#   cost      what ./bench compares the plugin with
#   bench     the programs that ./bench launch starts, and what it compares with
#
# Exit codes: 0 all packages are there, 1 they could not be installed, 2 bad usage.
set -euo pipefail

BUILD_PACKAGES=(
    g++ lld cmake ninja-build pkg-config
    nlohmann-json3-dev libsqlite3-dev libfuse3-dev libcli11-dev libfmt-dev
    libgtest-dev libgmock-dev librapidcheck-dev libbenchmark-dev
    protobuf-compiler
)
CI_PACKAGES=(clang clang-tidy clang-format libclang-rt-14-dev git shellcheck chromium)
COVERAGE_PACKAGES=(gcovr)
COST_PACKAGES=(libboost-dev time)
BENCH_PACKAGES=(clang-tidy clangd python3 gdb nodejs git cmake default-jre-headless g++ e2fsprogs vmtouch)

fail() {
    echo "install_deps: $1" >&2
    exit "${2:-1}"
}

wanted=()
[ $# -gt 0 ] || fail "name a purpose: build, ci, coverage, cost or bench" 2
for purpose in "$@"; do
    case $purpose in
        build) wanted+=("${BUILD_PACKAGES[@]}") ;;
        ci) wanted+=("${CI_PACKAGES[@]}") ;;
        cost) wanted+=("${COST_PACKAGES[@]}") ;;
        bench) wanted+=("${BENCH_PACKAGES[@]}") ;;
        coverage) wanted+=("${COVERAGE_PACKAGES[@]}") ;;
        *) fail "unknown purpose '$purpose'; the purposes are build, ci, coverage, cost and bench" 2 ;;
    esac
done

command -v dpkg-query >/dev/null || fail "this is not a Debian system; install the like of: ${wanted[*]}"

# dpkg-query fails as soon as one package is unknown to it, and lists the others all the same.
installed=$(dpkg-query -W -f '${Package} ${Status}\n' "${wanted[@]}" 2>/dev/null | awk '$NF == "installed" { print $1 }') || true
missing=()
for package in "${wanted[@]}"; do
    grep -qxF -- "$package" <<<"$installed" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "neither root nor sudo here; as root, run: apt-get install ${missing[*]}"
    as_root=(sudo)
fi

echo "Installing ${#missing[@]} packages: ${missing[*]}" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
apt() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300 "$@" \
        </dev/null >>"$log" 2>&1
}
if ! apt update || ! apt install --no-install-recommends "${missing[@]}"; then
    cat "$log" >&2
    fail "apt-get failed; its output is above"
fi
