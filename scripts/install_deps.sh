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
  locales                         # a comma-decimal locale for the locale-independence tests
)

# Tests check that number texts ignore the process locale, with de_DE.UTF-8 (whose
# decimal point is a comma).
ensure_locale() {
  if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
    echo "install_deps: generating the de_DE.UTF-8 locale"
    $sudo sed -i 's/^# *\(de_DE.UTF-8 UTF-8\)/\1/' /etc/locale.gen
    grep -q '^de_DE.UTF-8 UTF-8' /etc/locale.gen || echo 'de_DE.UTF-8 UTF-8' | $sudo tee -a /etc/locale.gen >/dev/null
    $sudo locale-gen >/dev/null
  fi
}

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo=sudo; fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "install_deps: installing ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
ensure_locale
