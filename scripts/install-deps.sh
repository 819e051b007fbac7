#!/usr/bin/env bash
# Installs the Debian packages that Reelcraft needs to build, test and run, when missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev libavfilter-dev
  ffmpeg
  libicu-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  qt6-base-dev qt6-multimedia-dev
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[[ $(id -u) -eq 0 ]] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
