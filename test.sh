#!/usr/bin/env bash
# Installs what is missing, builds and runs the whole test suite, then again under
# AddressSanitizer + UndefinedBehaviorSanitizer, then the threaded parts (player, reader,
# writer, exporter) under ThreadSanitizer. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-deps.sh

jobs=$(nproc)
configure() {
  local dir=$1
  shift
  echo "== Build $dir ($*)"
  cmake -S . -B "$dir" -G Ninja "$@"
}

configure build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build/test -j "$jobs"
echo "== Test build/test"
ctest --test-dir build/test --output-on-failure -j "$jobs"

configure build/asan -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS=-O1" \
  -DREELCRAFT_SANITIZE=address,undefined -DREELCRAFT_BUILD_BENCHMARKS=OFF
cmake --build build/asan -j "$jobs"
echo "== Test build/asan"
ctest --test-dir build/asan --output-on-failure -j "$jobs"

# Only the suites with threads of their own are worth the ThreadSanitizer build.
configure build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DREELCRAFT_SANITIZE=thread \
  -DREELCRAFT_BUILD_BENCHMARKS=OFF
tsan_targets=(media_tests)
if cmake --build build/tsan --target help | grep -q '^export_tests:'; then
  tsan_targets+=(export_tests)
fi
cmake --build build/tsan -j "$jobs" --target "${tsan_targets[@]}"
echo "== Test build/tsan"
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
  ctest --test-dir build/tsan --output-on-failure -j "$jobs" \
  -R 'Player|AssetReader|EventLoop|AudioSink|AudioRingBuffer|VideoSource|AssetWriter|SerialQueue|Exporter'
echo "== All tests passed"
