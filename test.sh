#!/usr/bin/env bash
# Installs what is missing, builds and runs the whole test suite, then again under
# AddressSanitizer + UndefinedBehaviorSanitizer. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-deps.sh

jobs=$(nproc)
run_suite() {
  local dir=$1
  shift
  echo "== Build $dir ($*)"
  cmake -S . -B "$dir" -G Ninja "$@"
  cmake --build "$dir" -j "$jobs"
  echo "== Test $dir"
  ctest --test-dir "$dir" --output-on-failure -j "$jobs"
}

run_suite build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_suite build/asan -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS=-O1" \
  -DREELCRAFT_SANITIZE=address,undefined -DREELCRAFT_BUILD_BENCHMARKS=OFF
echo "== All tests passed"
