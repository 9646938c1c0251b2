#!/usr/bin/env bash
# Installs the Debian 12 packages Zubra needs to build, test and benchmark.
# Idempotent: only missing packages are installed, and the package lists are
# refreshed at most once, and only when something has to be installed.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git locales
  nlohmann-json3-dev libtinyxml2-dev libsimpleini-dev libicu-dev
  libboost-dev libfmt-dev libeigen3-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev ccache
  libxlsxwriter-dev libcairo2-dev libfontconfig-dev fonts-dejavu-core python3
  pybind11-dev python3-dev python3-numpy python3-pytest
  clang-14 libclang-rt-14-dev gcovr
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
else
  sudo_cmd=()
fi

if [ "${#missing[@]}" -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
else
  echo "install-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The locale tests switch the process to a comma-decimal locale; make it once.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
  "${sudo_cmd[@]}" localedef -i de_DE -f UTF-8 de_DE.UTF-8 || echo "install-deps: could not make de_DE.UTF-8"
fi
