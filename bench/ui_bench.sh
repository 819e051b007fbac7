#!/usr/bin/env bash
# Runs the desktop player's benchmarks in the application's document window on the generated
# full-HD movies: timeline click to new picture painted, against plain FFmpeg seek+decode of
# the same frame (on the movie with 10 s GOPs, and on one with 1 s GOPs as cameras write), and
# one minute of playback (frames presented, dropped and late, CPU use). Runs them on Qt's offscreen platform, and also on an X server under
# xvfb-run (platform xcb) when xvfb-run is installed. Prints every figure, then a summary.
# Builds nothing: build the desktop_benchmarks target first, e.g.
#   cmake -S . -B build-uibench -G Ninja -DCMAKE_BUILD_TYPE=Release
#   cmake --build build-uibench --target desktop_benchmarks
#
# usage: bench/ui_bench.sh BUILD_DIR
# The movies are generated once into BUILD_DIR/bench-media (or taken from BENCH_MEDIA, a
# directory holding them). CLICKS (default 200) sets the number of clicks,
# WINDOW (e.g. 1280x800) the window size instead of the application's own, AUDIO
# (auto|qt|null, default auto) the sound output of the playback, PLATFORMS (default
# "offscreen xcb") the Qt platforms to run on. Where chrt may give real-time priority, every
# run is repeated with it.
set -euo pipefail

build=${1:-}
if [[ -z "$build" || ! -d "$build" ]]; then
  echo "usage: $0 BUILD_DIR (a build with the desktop_benchmarks target built)" >&2
  exit 2
fi
build=$(cd "$build" && pwd)

for program in bench/timeline_click_bench bench/window_playback_bench \
  tools/mediagen/reelcraft-mediagen; do
  if [[ ! -x "$build/$program" ]]; then
    echo "$build/$program is missing: cmake --build $build --target desktop_benchmarks" >&2
    exit 2
  fi
done

media=${BENCH_MEDIA:-$build/bench-media}
mkdir -p "$media"
for variant in bench-1080p30-60s bench-1080p30-20s-gop30; do
  if [[ ! -s "$media/$variant.mp4" ]]; then
    echo "== Generating $variant (once; this takes minutes)"
    "$build/tools/mediagen/reelcraft-mediagen" "$variant" "$media/$variant.partial.mp4"
    mv "$media/$variant.partial.mp4" "$media/$variant.mp4"
  fi
done
long_gop="$media/bench-1080p30-60s.mp4"
short_gop="$media/bench-1080p30-20s-gop30.mp4"

window_option=()
if [[ -n "${WINDOW:-}" ]]; then
  window_option=("--window=$WINDOW")
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
failed=0
run() {
  local title=$1
  shift
  echo "== $title: $*"
  if ! "$@" | tee -a "$log"; then
    echo "!! $title did not finish" | tee -a "$log"
    failed=1
  fi
}

benchmarks() {
  local platform=$1
  shift
  # The prefix that runs a program on the platform (a display server for xcb).
  local -a on=("$@")
  local movie
  for movie in "$long_gop" "$short_gop"; do
    run "Timeline click to picture ($platform, $(basename "$movie" .mp4))" "${on[@]}" \
      env QT_QPA_PLATFORM="$platform" "$build/bench/timeline_click_bench" "$movie" \
      "--clicks=${CLICKS:-200}" "${window_option[@]}"
  done
  run "One minute of playback ($platform)" "${on[@]}" env QT_QPA_PLATFORM="$platform" \
    "$build/bench/window_playback_bench" "$long_gop" "--audio=${AUDIO:-auto}" \
    "${window_option[@]}"
}

echo "Machine: $(nproc) cores, load average $(cut -d' ' -f1-3 /proc/loadavg)"
for platform in ${PLATFORMS:-offscreen xcb}; do
  case "$platform" in
    xcb)
      if [[ -n "${DISPLAY:-}" ]]; then
        benchmarks xcb
      elif command -v xvfb-run >/dev/null; then
        benchmarks xcb xvfb-run -a -s "-screen 0 1920x1080x24"
      else
        echo "== Skipping xcb: no DISPLAY and no xvfb-run"
      fi
      ;;
    *) benchmarks "$platform" ;;
  esac
done
# On a shared machine the other work delays the application's threads; the same runs with
# real-time priority show what the application does when it gets the processor in time.
if chrt -r 5 true 2>/dev/null; then
  for platform in ${PLATFORMS:-offscreen xcb}; do
    case "$platform" in
      xcb)
        if [[ -n "${DISPLAY:-}" ]]; then
          benchmarks xcb chrt -r 5
        elif command -v xvfb-run >/dev/null; then
          benchmarks xcb xvfb-run -a -s "-screen 0 1920x1080x24" chrt -r 5
        fi
        ;;
      *) benchmarks "$platform" chrt -r 5 ;;
    esac
  done
fi
echo "Machine after the runs: load average $(cut -d' ' -f1-3 /proc/loadavg)"

echo
echo "== Summary (ours | reference | ratio | target)"
grep '^RESULT ' "$log" | sed 's/^RESULT //' | awk -F' [|] ' '
  { printf "%-78s %10s %10s %7s  %-14s %s\n", $1, $2, $3, $4, $5, $6
    if ($6 == "MISSED") missed++ }
  END { printf "\n%d of %d figures missed their target\n", missed, NR }'
if [[ $failed -ne 0 ]]; then
  echo "Some benchmarks did not finish (see above)." >&2
  exit 1
fi
