#!/usr/bin/env bash
# Builds the library and runs the demo program.
# Usage: scripts/demo.sh [build-dir]   (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install_deps.sh
build=${1:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target corvane_xml_tree_demo >/dev/null
"$build/examples/corvane_xml_tree_demo"
