#!/usr/bin/env bash
# Installs the Debian packages the build needs; quiet when all are present.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config
  libsdl2-dev libxi-dev libpng-dev libjpeg-dev libtiff-dev zlib1g-dev
  libfreetype-dev libfontconfig-dev fonts-dejavu-core
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  xvfb xauth xdotool
  libpixman-1-dev libmypaint-dev liblz4-dev
  clang libfuzzer-14-dev
  imagemagick netpbm libmagick++-dev
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "deps: installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
