#!/bin/bash
# Builds everything with assertions and runs all tests but the soak tests. The last line is CTest's own.
#
#     scripts/test_all.sh [further options of ctest]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh
mkdir -p build

cmake --preset dev > build/configure.log || { cat build/configure.log; exit 1; }
cmake --build --preset dev

result=0
ctest --preset dev --parallel "$(nproc)" --output-log build/ctest-dev.log "$@" || result=$?
grep -E '^[0-9]+% tests passed' build/ctest-dev.log || { echo "ctest came to no end"; exit 1; }
exit $result
