#!/usr/bin/env bash
# Converts the same generated movie with `reelcraft-cli export` and with the ffmpeg command
# line at the same encoder settings, and prints wall time and peak memory of both with the
# ratios (reelcraft ÷ ffmpeg). Builds nothing: build reelcraft-cli and reelcraft-mediagen first
# (a Release or RelWithDebInfo build), e.g.
#   cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release
#   cmake --build build-release --target reelcraft-cli reelcraft-mediagen
#
# usage: bench/export_vs_ffmpeg.sh BUILD_DIR
# The source (60 s of 1920×1080 H.264 + AAC) is generated once into BUILD_DIR/bench-media.
# Targets: basic export at most 1.05× ffmpeg's wall time and 1.5× its peak memory; the
# audio-only exports at most 1.1× its wall time.
set -euo pipefail

build=${1:-}
if [[ -z "$build" || ! -x "$build/src/cli/reelcraft-cli" || \
      ! -x "$build/tools/mediagen/reelcraft-mediagen" ]]; then
  echo "usage: $0 BUILD_DIR (with reelcraft-cli and reelcraft-mediagen built)" >&2
  exit 2
fi
build=$(cd "$build" && pwd)
cli="$build/src/cli/reelcraft-cli"
command -v ffmpeg >/dev/null || { echo "ffmpeg is not installed" >&2; exit 2; }

media="$build/bench-media"
mkdir -p "$media"
source_movie="$media/bench-1080p30-60s.mp4"
if [[ ! -s "$source_movie" ]]; then
  echo "generating $source_movie ..." >&2
  "$build/tools/mediagen/reelcraft-mediagen" bench-1080p30-60s "$source_movie"
fi
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# measure NAME COMMAND...: runs COMMAND once and sets seconds[NAME] (wall clock), cpu[NAME]
# (user + system seconds: steadier than the wall clock on a busy machine) and kilobytes[NAME]
# (peak resident set size).
declare -A seconds cpu kilobytes
measure() {
  local name=$1
  shift
  if [[ -x /usr/bin/time ]]; then
    local report="$out/$name.time"
    /usr/bin/time -v -o "$report" "$@" >/dev/null 2>"$out/$name.log" || {
      echo "$name failed:" >&2
      cat "$out/$name.log" >&2
      exit 1
    }
    local wall
    wall=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$report")
    seconds[$name]=$(awk -F: '{ s = 0; for (i = 1; i <= NF; i++) s = s * 60 + $i; print s }' \
      <<<"$wall")
    kilobytes[$name]=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$report")
    cpu[$name]=$(awk -F': ' '/User time|System time/ { s += $2 } END { print s }' "$report")
  else
    # Without GNU time: wall clock and the child's getrusage peak through Python.
    read -r "seconds[$name]" "cpu[$name]" "kilobytes[$name]" < <(python3 - "$@" <<'PY'
import resource, subprocess, sys, time
start = time.monotonic()
subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
usage = resource.getrusage(resource.RUSAGE_CHILDREN)
print(f"{time.monotonic() - start:.2f}", usage.ru_utime + usage.ru_stime, usage.ru_maxrss)
PY
    )
  fi
}

ffmpeg_run=(ffmpeg -nostdin -hide_banner -loglevel error -y)

# The basic export: MPEG 4, H.264 at 5000 kbit/s (x264's default preset, "medium", on both
# sides), AAC at 128 kbit/s and, as the basic export's default, 44100 Hz.
measure basic_reelcraft "$cli" export "$source_movie" "$out/basic.mp4" \
  --video-kbps 5000 --audio-kbps 128 --quiet
measure basic_ffmpeg "${ffmpeg_run[@]}" -i "$source_movie" -c:v libx264 -preset medium -b:v 5000k \
  -c:a aac -b:a 128k -ar 44100 "$out/basic-ffmpeg.mp4"

measure aac_reelcraft "$cli" export "$source_movie" "$out/aac.mp4" \
  --format "Audio Only: MPEG 4" --audio-kbps 128 --quiet
measure aac_ffmpeg "${ffmpeg_run[@]}" -i "$source_movie" -vn -c:a aac -b:a 128k -ar 44100 \
  "$out/aac-ffmpeg.mp4"

measure wave_reelcraft "$cli" export "$source_movie" "$out/sound.wav" \
  --format "Audio Only: WAVE" --quiet
measure wave_ffmpeg "${ffmpeg_run[@]}" -i "$source_movie" -vn -c:a pcm_s16le -ar 44100 \
  "$out/sound-ffmpeg.wav"

measure alac_reelcraft "$cli" export "$source_movie" "$out/sound.caf" \
  --format "Audio Only: CoreAudio" --quiet
measure alac_ffmpeg "${ffmpeg_run[@]}" -i "$source_movie" -vn -c:a alac -sample_fmt s16p -ar 44100 \
  "$out/sound-ffmpeg.caf"

printf '%-26s %10s %10s %7s %10s %10s %7s %11s %11s %7s\n' export "wall" "ffmpeg" ratio \
  "cpu" "ffmpeg" ratio "rss KiB" "ffmpeg KiB" ratio
for name in basic aac wave alac; do
  ours=${seconds[${name}_reelcraft]}
  theirs=${seconds[${name}_ffmpeg]}
  ours_kb=${kilobytes[${name}_reelcraft]}
  theirs_kb=${kilobytes[${name}_ffmpeg]}
  case $name in
    basic) label="MP4 H.264 5000k + AAC" ;;
    aac) label="Audio Only: MPEG 4 (AAC)" ;;
    wave) label="Audio Only: WAVE" ;;
    alac) label="CoreAudio (ALAC)" ;;
  esac
  awk -v l="$label" -v a="$ours" -v b="$theirs" -v c="$ours_kb" -v d="$theirs_kb" \
    -v e="${cpu[${name}_reelcraft]}" -v f="${cpu[${name}_ffmpeg]}" \
    'BEGIN { printf "%-26s %9.2fs %9.2fs %7.3f %9.2fs %9.2fs %7.3f %11d %11d %7.3f\n",
             l, a, b, a / b, e, f, e / f, c, d, c / d }'
done
