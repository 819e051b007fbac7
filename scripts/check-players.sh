#!/usr/bin/env bash
# Saves a few typical edits of a generated movie (cuts inside groups of pictures with B-frames)
# and shows which pictures each installed player puts on screen, as frame numbers, next to the
# ones the edit leaves. Players that are not installed are skipped; none is installed by the
# project (apt-get install mpv vlc-bin vlc-plugin-base gstreamer1.0-tools
# gstreamer1.0-plugins-good gstreamer1.0-libav to try them all).
# Usage: scripts/check-players.sh [BUILD_DIR]
set -uo pipefail
build=${1:-build/test}
cli="$build/src/cli/reelcraft-cli"
mediagen="$build/tools/mediagen/reelcraft-mediagen"
for tool in "$cli" "$mediagen"; do
  [[ -x "$tool" ]] || { echo "missing $tool: build it first" >&2; exit 1; }
done
work=$(mktemp -d)
chmod 755 "$work"
trap 'rm -rf "$work"' EXIT INT TERM

"$mediagen" h264-aac-mov "$work/in.mov"

# name | edits | the frames the edit leaves (the generated movie has frames 0-89)
cases=(
  "trim|--trim 0.57,2.23|17-66"
  "delete|--delete 1.1,2.3|0-32 69-89"
  "three-deletes|--delete 0.35,0.6 --delete 1.0,1.27 --delete 1.5,1.9|0-10 18-37 45-59 72-89"
  "copy-paste|--copy 0.4,0.9 --paste-at 2.1|0-62 12-26 63-89"
  "rotate-delete|--rotate left --delete 1,1.5|0-29 45-89"
)

runs() { "$mediagen" --frames "$@" 2>/dev/null | head -n 1; }

# Each player writes the pictures it shows into a folder of its own.
play_mpv() {
  mpv --no-config --really-quiet --ao=null --untimed --framedrop=no --vo=image \
    --vo-image-format=png --vo-image-outdir="$2" "${@:3}" "$1" > /dev/null 2>&1
}
play_vlc() {
  # VLC refuses to run as root.
  local as=()
  [[ $(id -u) -eq 0 ]] && as=(runuser -u nobody --)
  chmod 777 "$2"
  timeout 60 "${as[@]}" cvlc -I dummy --no-audio --vout=dummy --no-drop-late-frames \
    --no-skip-frames --video-filter=scene --scene-format=png --scene-ratio=1 \
    --scene-path="$2" --play-and-exit "$1" > /dev/null 2>&1
}
play_gstreamer() {
  timeout 60 gst-launch-1.0 -q filesrc location="$1" ! qtdemux ! decodebin ! videoconvert ! \
    pngenc ! multifilesink location="$2/%05d.png" > /dev/null 2>&1
}

players=("FFmpeg libraries (ffplay)")
command -v mpv > /dev/null && players+=("mpv" "mpv, advanced_editlist=1")
command -v cvlc > /dev/null && players+=("VLC")
command -v gst-launch-1.0 > /dev/null && players+=("GStreamer")

for entry in "${cases[@]}"; do
  IFS='|' read -r name edits expected <<< "$entry"
  # shellcheck disable=SC2086 # the edits are separate words
  "$cli" edit "$work/in.mov" $edits -o "$work/$name.mov" > /dev/null || exit 1
  echo "== $name ($edits): leaves $expected"
  for player in "${players[@]}"; do
    pictures="$work/$name-${player//[^a-zA-Z]/}"
    mkdir -p "$pictures"
    case $player in
      FFmpeg*) shown=$(runs "$work/$name.mov") ;;
      "mpv") play_mpv "$work/$name.mov" "$pictures" && shown=$(runs "$pictures"/*.png) ;;
      mpv,*)
        play_mpv "$work/$name.mov" "$pictures" --demuxer-lavf-o=advanced_editlist=1 &&
          shown=$(runs "$pictures"/*.png)
        ;;
      VLC) play_vlc "$work/$name.mov" "$pictures" && shown=$(runs "$pictures"/*.png) ;;
      GStreamer) play_gstreamer "$work/$name.mov" "$pictures" && shown=$(runs "$pictures"/*.png) ;;
    esac
    verdict="differs"
    [[ "$shown" == "$expected" ]] && verdict="exact"
    printf '   %-26s %-8s %s\n' "$player" "$verdict" "$shown"
  done
done
