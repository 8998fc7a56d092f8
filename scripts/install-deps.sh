#!/usr/bin/env bash
# Installs the Debian packages that building and testing the SDK need,
# skipping those already present. Safe to run again.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  libboost-dev libboost-thread-dev libboost-chrono-dev libboost-date-time-dev libboost-system-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  libusb-1.0-0-dev libumockdev-dev umockdev
  libpng-dev
  binutils
  clang libclang-rt-14-dev
  python3-numpy python3-pytest python3-setuptools python3-pip python3-venv
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
