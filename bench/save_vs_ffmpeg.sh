#!/bin/sh
# Saving after ten cuts (save_bench) against `ffmpeg -i IN -c copy OUT.mov` on the same 60 s
# 1080p H.264 + AAC movie, in the same run, several rounds in alternating order (the machine may
# be shared: compare the ratios, not the absolute times).
# Usage: bench/save_vs_ffmpeg.sh [BUILD_DIR [ROUNDS [MOVIE]]]; MOVIE reuses a movie made earlier
# with `reelcraft-mediagen bench-1080p30-60s MOVIE` instead of generating one.
set -eu
build=${1:-build}
rounds=${2:-3}
movie=${3:-}
mediagen="$build/tools/mediagen/reelcraft-mediagen"
bench="$build/bench/save_bench"
for tool in "$mediagen" "$bench"; do
  [ -x "$tool" ] || { echo "missing $tool: build it first" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM

if [ -z "$movie" ]; then
  movie="$work/in.mp4"
  "$mediagen" bench-1080p30-60s "$movie"
fi
# Read the source once so that every run finds it in the page cache.
cat "$movie" > /dev/null

now() { date +%s.%N; }
peak() { sed -n 's/.*Maximum resident set size (kbytes): //p' "$1"; }

run_ffmpeg() {
  rm -f "$work/copy.mov"
  start=$(now)
  /usr/bin/time -v -o "$work/ffmpeg.time" ffmpeg -v error -y -i "$movie" -c copy "$work/copy.mov"
  ffmpeg_seconds=$(echo "$(now) - $start" | bc -l)
}
run_save() {
  rm -f "$work/saved.mov"
  start=$(now)
  /usr/bin/time -v -o "$work/save.time" "$bench" "$movie" "$work/saved.mov" > /dev/null
  save_seconds=$(echo "$(now) - $start" | bc -l)
}

round=1
while [ "$round" -le "$rounds" ]; do
  if [ $((round % 2)) -eq 1 ]; then run_ffmpeg; run_save; else run_save; run_ffmpeg; fi
  printf 'round %d: ffmpeg -c copy %.3f s (peak %s kB), save (10 cuts) %.3f s (peak %s kB), ratio %.2f (target <= 1.0)\n' \
    "$round" "$ffmpeg_seconds" "$(peak "$work/ffmpeg.time")" "$save_seconds" \
    "$(peak "$work/save.time")" "$(echo "$save_seconds / $ffmpeg_seconds" | bc -l)"
  round=$((round + 1))
done
