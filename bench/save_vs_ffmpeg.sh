#!/bin/sh
# Saving after ten cuts (save_bench) against `ffmpeg -i IN -c copy OUT.mov` on the same 60 s
# 1080p H.264 + AAC movie, in the same run. Usage: bench/save_vs_ffmpeg.sh [BUILD_DIR]
set -eu
build=${1:-build}
mediagen="$build/tools/mediagen/reelcraft-mediagen"
bench="$build/bench/save_bench"
for tool in "$mediagen" "$bench"; do
  [ -x "$tool" ] || { echo "missing $tool: build it first" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM

"$mediagen" bench-1080p30-60s "$work/in.mp4"
# Read the source once so that both runs find it in the page cache.
cat "$work/in.mp4" > /dev/null

now() { date +%s.%N; }
peak() { sed -n 's/.*Maximum resident set size (kbytes): //p' "$1"; }

start=$(now)
/usr/bin/time -v -o "$work/ffmpeg.time" ffmpeg -v error -y -i "$work/in.mp4" -c copy \
  "$work/copy.mov"
ffmpeg_seconds=$(echo "$(now) - $start" | bc -l)

start=$(now)
/usr/bin/time -v -o "$work/save.time" "$bench" "$work/in.mp4" "$work/saved.mov" > /dev/null
save_seconds=$(echo "$(now) - $start" | bc -l)

printf 'ffmpeg -c copy: %.3f s, peak %s kB\n' "$ffmpeg_seconds" "$(peak "$work/ffmpeg.time")"
printf 'save (10 cuts): %.3f s, peak %s kB\n' "$save_seconds" "$(peak "$work/save.time")"
printf 'ratio save/ffmpeg: %.2f (target <= 1.0)\n' "$(echo "$save_seconds / $ffmpeg_seconds" | bc -l)"
