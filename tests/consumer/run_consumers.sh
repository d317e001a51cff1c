#!/usr/bin/env bash
# Installs the library into a scratch prefix and builds the consumer program three ways:
# find_package against the install, pkg-config against the install, add_subdirectory of
# the source tree; and the example application against the install. Each must build and run.
# Usage: run_consumers.sh SOURCE_DIR BUILD_DIR WORK_DIR
set -euo pipefail
src=$1 build=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null

cmake -S "$src/tests/consumer/find_package" -B "$work/find_package" \
  -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/find_package" >/dev/null
LD_LIBRARY_PATH="$prefix/lib:$prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/find_package/consumer"

libdir=$(find "$prefix" -name corvane_xml.pc -printf '%h\n' | head -n1)
PKG_CONFIG_PATH="$libdir:${PKG_CONFIG_PATH:-}" \
  c++ "$src/tests/consumer/consumer.cpp" -o "$work/pkgconfig_consumer" \
  $(PKG_CONFIG_PATH="$libdir:${PKG_CONFIG_PATH:-}" pkg-config --cflags --libs corvane_xml)
LD_LIBRARY_PATH="$prefix/lib:$prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/pkgconfig_consumer"

cmake -S "$src/tests/consumer/add_subdirectory" -B "$work/add_subdirectory" \
  -DCORVANE_XML_SOURCE_DIR="$src" >/dev/null
cmake --build "$work/add_subdirectory" -j2 >/dev/null
"$work/add_subdirectory/consumer"

# The example application, as its README section builds it against an install.
cmake -S "$src/examples/app" -B "$work/example_app" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/example_app" >/dev/null
LD_LIBRARY_PATH="$prefix/lib:$prefix/lib64:${LD_LIBRARY_PATH:-}" \
  "$work/example_app/study_summary" "$src/examples/data/study.xml" >"$work/example_app/out.xml"
grep -q '<PatientName>TANAKA^ANDR' "$work/example_app/out.xml"
grep -q '<LastChange user="tech1">2009-03-07T14:05:09</LastChange>' "$work/example_app/out.xml"
