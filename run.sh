#!/usr/bin/env bash
# Installs what is missing, builds Reelcraft in Release and opens the bundled sample movie in the
# desktop application. Without a display it describes the sample with the command-line tool.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DREELCRAFT_BUILD_TESTS=OFF -DREELCRAFT_BUILD_BENCHMARKS=OFF
cmake --build build/release -j "$(nproc)"
sample=build/release/sample/sample.mov
if [[ -n "${DISPLAY:-}" || -n "${WAYLAND_DISPLAY:-}" ]]; then
  exec build/release/src/app/reelcraft --play "$sample"
fi
echo "No display (neither DISPLAY nor WAYLAND_DISPLAY is set), so the desktop application"
echo "cannot open a window. Here is the sample movie as reelcraft-cli sees it:"
exec build/release/src/cli/reelcraft-cli info "$sample"
