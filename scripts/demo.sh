#!/usr/bin/env bash
# Builds everything and runs corvane-xml over the sample documents in examples/data,
# showing what each subcommand does, then the element tree demo program.
# Usage: scripts/demo.sh [build-dir]   (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install_deps.sh
build=${1:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" >/dev/null
tool=$build/tools/corvane-xml
data=examples/data

show() {
  printf '\n\033[1m$ %s\033[0m\n' "$*"
  "$@" || printf '(exit status %d)\n' "$?"
}

show "$tool" tree "$data/tree.xml"
show "$tool" tree "$data/tree.xml" --order weight --prefix q:
show "$tool" tree --dump "$data/tree.xml"
show "$tool" study "$data/study.xml" --types "$data/study-types.txt"
show "$tool" records "$data/patient-harddelete.xml"
show "$tool" validate "$data/valid.xml" "$data/schema.xsd"
show "$tool" validate "$data/invalid.xml" "$data/schema.xsd"
show "$tool" select "$data/valid.xml" "//Study[ImageCount > 100]"
printf '\n\033[1m$ echo %s | %s escape\033[0m\n' "'Chest <routine> & \"contrast\"'" "$tool"
echo 'Chest <routine> & "contrast"' | "$tool" escape
echo
printf '\n\033[1m$ printf %s | %s tree -\033[0m\n' "'<Study><Series>\\n</Study>'" "$tool"
printf '<Study><Series>\n</Study>' | "$tool" tree - || printf '(exit status %d)\n' "$?"
printf '\n\033[1m$ %s\033[0m\n' "$build/examples/corvane_xml_tree_demo"
"$build/examples/corvane_xml_tree_demo"
