#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the build and the tests need and
# the machine does not have yet. Does nothing (and needs no network) when all
# of it is present. Run as root, or with sudo available.
set -euo pipefail

packages=(
  g++ make cmake ninja-build pkg-config
  qt6-base-dev libgl-dev
  libtiff-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  # mpirun starts even local ranks through an ssh client's launcher.
  openmpi-bin libopenmpi-dev openssh-client
  xvfb xauth
  # The fuzz targets (scripts/fuzz.sh): clang and its libFuzzer runtime.
  clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null; then sudo="sudo"; else
    echo "install-deps: these packages are missing and this is not root: ${missing[*]}" >&2
    exit 1
  fi
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
