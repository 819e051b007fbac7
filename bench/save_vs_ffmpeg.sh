#!/bin/sh
# Saving after ten cuts (save_bench) against `ffmpeg -i IN -c copy OUT.mov` on the same 60 s
# 1080p H.264 + AAC movie, in the same run, several rounds in alternating order (the machine may
# be shared: compare the ratios, not the absolute times). Also the same ten cuts through
# `reelcraft-cli edit`, which saves safely (written beside the destination, checked, flushed to
# the disk and renamed over it).
# Usage: bench/save_vs_ffmpeg.sh [BUILD_DIR [ROUNDS [MOVIE]]]; MOVIE reuses a movie made earlier
# with `reelcraft-mediagen bench-1080p30-60s MOVIE` instead of generating one.
set -eu
build=${1:-build}
rounds=${2:-3}
movie=${3:-}
mediagen="$build/tools/mediagen/reelcraft-mediagen"
bench="$build/bench/save_bench"
cli="$build/src/cli/reelcraft-cli"
for tool in "$mediagen" "$bench" "$cli"; do
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

# The cuts save_bench makes, last first: 10010/30000 s from duration × cut / 11 + 0.123 s.
seconds=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$movie")
cuts=""
for cut in 10 9 8 7 6 5 4 3 2 1; do
  start=$(echo "($seconds * $cut / 11 + 0.123) * 30000 + 0.5" | bc -l | cut -d. -f1)
  cuts="$cuts --delete $start/30000,$((start + 10010))/30000"
done

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

run_cli() {
  rm -f "$work/edited.mov"
  start=$(now)
  # shellcheck disable=SC2086 # the cuts are separate words
  /usr/bin/time -v -o "$work/cli.time" "$cli" edit "$movie" $cuts -o "$work/edited.mov" > /dev/null
  cli_seconds=$(echo "$(now) - $start" | bc -l)
}

round=1
while [ "$round" -le "$rounds" ]; do
  if [ $((round % 2)) -eq 1 ]; then run_ffmpeg; run_save; run_cli; else run_cli; run_save; run_ffmpeg; fi
  printf 'round %d: ffmpeg -c copy %.3f s (peak %s kB), save (10 cuts) %.3f s (peak %s kB), ratio %.2f (target <= 1.0); reelcraft-cli edit %.3f s (peak %s kB), ratio %.2f\n' \
    "$round" "$ffmpeg_seconds" "$(peak "$work/ffmpeg.time")" "$save_seconds" \
    "$(peak "$work/save.time")" "$(echo "$save_seconds / $ffmpeg_seconds" | bc -l)" \
    "$cli_seconds" "$(peak "$work/cli.time")" "$(echo "$cli_seconds / $ffmpeg_seconds" | bc -l)"
  echo "$save_seconds / $ffmpeg_seconds" | bc -l >> "$work/save.ratios"
  echo "$cli_seconds / $ffmpeg_seconds" | bc -l >> "$work/cli.ratios"
  round=$((round + 1))
done
median() { sort -n "$1" | awk '{ v[NR] = $1 } END { print (NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2) }'; }
printf 'median of %d rounds: save %.2f, reelcraft-cli edit %.2f (times ffmpeg -c copy)\n' \
  "$rounds" "$(median "$work/save.ratios")" "$(median "$work/cli.ratios")"
