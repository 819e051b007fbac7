#!/usr/bin/env bash
# Runs the media engine's benchmarks against ffmpeg and plain FFmpeg calls, in one go, on the
# generated full-HD movies, and prints every figure beside its reference with the ratio.
# Builds nothing: build the media_benchmarks target first, e.g.
#   cmake -S . -B build-mediabench -G Ninja -DCMAKE_BUILD_TYPE=Release
#   cmake --build build-mediabench --target media_benchmarks
#
# usage: bench/media_vs_ffmpeg.sh [BUILD_DIR]
# The movies are generated once into BUILD_DIR/bench-media. Fewer repetitions for a quick
# look: READ_ROUNDS (default 3), SEEKS (200), OPEN_RUNS (20).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

build=${1:-}
if [[ -z "$build" ]]; then
  for candidate in build/release build-mediabench; do
    if [[ -x "$root/$candidate/bench/read_bench" ]]; then
      build="$root/$candidate"
      break
    fi
  done
fi
if [[ -z "$build" || ! -d "$build" ]]; then
  echo "usage: $0 BUILD_DIR (a build with the media_benchmarks target built)" >&2
  exit 2
fi
build=$(cd "$build" && pwd)

for program in bench/read_bench bench/seek_bench bench/playback_bench bench/open_bench \
  tools/mediagen/reelcraft-mediagen; do
  if [[ ! -x "$build/$program" ]]; then
    echo "$build/$program is missing: cmake --build $build --target media_benchmarks" >&2
    exit 2
  fi
done
if ! command -v ffmpeg >/dev/null; then
  echo "ffmpeg is not installed (scripts/install-deps.sh installs it)" >&2
  exit 2
fi

media="$build/bench-media"
mkdir -p "$media"
for variant in bench-1080p30-60s bench-1080p60-10s; do
  if [[ ! -s "$media/$variant.mp4" ]]; then
    echo "== Generating $variant (once; this takes minutes)"
    "$build/tools/mediagen/reelcraft-mediagen" "$variant" "$media/$variant.partial.mp4"
    mv "$media/$variant.partial.mp4" "$media/$variant.mp4"
  fi
done
long_gop="$media/bench-1080p30-60s.mp4"
fast="$media/bench-1080p60-10s.mp4"

log=$(mktemp)
trap 'rm -f "$log"' EXIT
failed=0
run() {
  local title=$1
  shift
  echo "== $title: ${*#"$build/"}"
  if ! "$@" | tee -a "$log"; then
    echo "!! $title did not finish" | tee -a "$log"
    failed=1
  fi
}

echo "Machine: $(nproc) cores, load average $(cut -d' ' -f1-3 /proc/loadavg)"
run "Sequential read" "$build/bench/read_bench" "$long_gop" "--rounds=${READ_ROUNDS:-3}"
run "Exact seeks and steps back" "$build/bench/seek_bench" "$long_gop" "--seeks=${SEEKS:-200}"
run "Playback" "$build/bench/playback_bench" "$fast" --rates=1,2
run "Open to first picture" "$build/bench/open_bench" "$long_gop" "--runs=${OPEN_RUNS:-20}"
# On a shared machine the other work delays our threads' wake-ups; the same runs with
# real-time priority show what the engine does when it gets the processor in time.
if chrt -r 5 true 2>/dev/null; then
  run "Playback, real-time priority" chrt -r 5 "$build/bench/playback_bench" "$fast" --rates=1,2
  run "Open to first picture, real-time priority" chrt -r 5 "$build/bench/open_bench" \
    "$long_gop" --runs=10
fi
echo "Machine after the runs: load average $(cut -d' ' -f1-3 /proc/loadavg)"

echo
echo "== Summary (ours | ffmpeg or floor | ratio | target)"
grep '^RESULT ' "$log" | sed 's/^RESULT //' | awk -F' [|] ' '
  { printf "%-62s %12s %12s %7s  %-14s %s\n", $1, $2, $3, $4, $5, $6
    if ($6 == "MISSED") missed++ }
  END { printf "\n%d of %d figures missed their target\n", missed, NR }'
if [[ $failed -ne 0 ]]; then
  echo "Some benchmarks did not finish (see above)." >&2
  exit 1
fi
