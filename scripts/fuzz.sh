#!/usr/bin/env bash
# Builds the fuzz targets with clang's libFuzzer (and the address and undefined-behaviour
# sanitizers) and runs each for the given number of seconds, one after the other.
# Each target starts from its seed corpus fuzz/corpus/<name>/ (read only) and keeps what
# it finds in <build-dir>/corpus/<name>/; an input that fails lands in
# <build-dir>/artifacts/ and makes the script fail once every target has run.
# Usage: scripts/fuzz.sh [seconds-per-target] [build-dir]   (defaults: 60, build-fuzz)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
build=${2:-build-fuzz}

bash scripts/install_deps.sh
# libFuzzer ships with clang's runtime libraries; only fuzzing needs them.
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo=sudo; fi
for p in clang libclang-rt-14-dev; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    echo "fuzz: installing clang and its runtime libraries"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
      clang libclang-rt-14-dev >/dev/null
    break
  fi
done

CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANE_XML_WERROR=ON \
  -DCORVANE_XML_BUILD_FUZZERS=ON -DCORVANE_XML_BUILD_TESTS=OFF -DCORVANE_XML_BUILD_EXAMPLES=OFF \
  -DCORVANE_XML_BUILD_TOOLS=OFF -DCORVANE_XML_INSTALL=OFF >/dev/null
cmake --build "$build" -j"$(nproc)"

export ASAN_OPTIONS="detect_leaks=1:halt_on_error=1:abort_on_error=1:fast_unwind_on_malloc=0"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0"
mkdir -p "$build/artifacts"
failed=()
while read -r name; do
  [ -n "$name" ] || continue
  mkdir -p "$build/corpus/$name"
  echo "fuzz: $name for ${seconds}s"
  if ! "$build/fuzz/${name}_fuzz" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 \
      -print_final_stats=1 -artifact_prefix="$build/artifacts/$name-" \
      "$build/corpus/$name" "fuzz/corpus/$name" >"$build/$name.log" 2>&1; then
    failed+=("$name")
    tail -n 40 "$build/$name.log"
  fi
  grep -E '^stat::number_of_executed_units|^stat::peak_rss_mb|^Done ' "$build/$name.log" || true
done <"$build/fuzz/fuzzers.txt"

if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz: failures in ${failed[*]}; inputs in $build/artifacts/"
  exit 1
fi
echo "fuzz: no failure"
