#!/usr/bin/env bash
# Builds the library and its test suite with warnings as errors and runs every test.
# Usage: scripts/test.sh [build-dir]   (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install_deps.sh
build=${1:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANE_XML_WERROR=ON >/dev/null
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
