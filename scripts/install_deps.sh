#!/usr/bin/env bash
# Installs the Debian packages that building, testing and benchmarking need.
# Idempotent and quiet when everything is already there.
set -euo pipefail

packages=(
  g++ cmake make pkg-config       # toolchain
  libace-dev                      # ACE strings and logging (public dependency)
  libxerces-c-dev                 # SAX parsing
  libxml2-dev                     # document object layer
  libgtest-dev libgmock-dev       # tests
  libbenchmark-dev libpugixml-dev # benchmarks (pugixml is a comparison peer only)
  python3                         # benchmark corpus generator
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo=sudo; fi
echo "install_deps: installing ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
