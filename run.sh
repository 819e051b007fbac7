#!/usr/bin/env bash
# Installs what is missing, builds Reelcraft in Release and runs it on the bundled sample movie.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DREELCRAFT_BUILD_TESTS=OFF -DREELCRAFT_BUILD_BENCHMARKS=OFF
cmake --build build/release -j "$(nproc)"
exec build/release/src/cli/reelcraft-cli info build/release/sample/sample.mov
