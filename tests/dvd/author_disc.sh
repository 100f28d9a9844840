#!/usr/bin/env bash
# Authors the DVD-Video folder the DVD tests read, once per build folder: OUT/VIDEO_TS and
# OUT/ready when done. Two title sets; every title carries two audio streams, "en" with a 440 Hz
# tone and "de" with an 880 Hz tone, so a decoded rip tells which stream was kept.
#   title set 1: title 1, 8 s, chapters at 0, 3 and 6 s; title 2, 4 s, chapters at 0 and 2 s
#   title set 2: title 1, 9 s in three cells of 3 s, where the second cell continues the first
#                chapter: only a chapter's entry cell is ripped, so its chapters are not contiguous
# Usage: author_disc.sh OUT [SECONDS_OF_A_LONG_SINGLE_TITLE]
# With the second argument it authors one title set of one long title instead (for the benchmark).
set -euo pipefail
out="$1"
long="${2:-}"
[ -f "$out/ready" ] && exit 0
for tool in ffmpeg dvdauthor; do
  command -v "$tool" >/dev/null || { echo "$tool is missing (scripts/install-deps.sh installs it)" >&2; exit 1; }
done
rm -rf "$out"
mkdir -p "$out/work"
cd "$out/work"

# A test pattern with two tones; -target pal-dvd fixes 720x576, MPEG-2 video and AC-3 audio. The
# long title is held at a constant 8.5 Mbit/s, near a disc's most, so that 21 minutes make a GiB and a little more.
encode() {
  local seconds="$1" file="$2" source=testsrc rate=()
  [ -n "$long" ] && source=testsrc2 rate=(-b:v 8500k -minrate 8500k -maxrate 8500k -bufsize 1835k)
  ffmpeg -nostdin -loglevel error -f lavfi -i "$source=size=720x576:rate=25:duration=$seconds" \
    -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=$seconds" \
    -f lavfi -i "sine=frequency=880:sample_rate=48000:duration=$seconds" \
    -map 0:v -map 1:a -map 2:a -target pal-dvd "${rate[@]}" -ac 2 -b:a 192k -aspect 4:3 -y "$file"
}

audio='<audio lang="en"/><audio lang="de"/>'
if [ -n "$long" ]; then
  encode "$long" long.mpg
  cat > disc.xml <<XML
<dvdauthor dest="$out">
  <vmgm/>
  <titleset><titles>$audio<pgc><vob file="long.mpg"/></pgc></titles></titleset>
</dvdauthor>
XML
else
  encode 8 a.mpg
  encode 4 b.mpg
  encode 9 c.mpg
  cat > disc.xml <<XML
<dvdauthor dest="$out">
  <vmgm/>
  <titleset>
    <titles>$audio
      <pgc><vob file="a.mpg" chapters="0,3,6"/></pgc>
      <pgc><vob file="b.mpg" chapters="0,2"/></pgc>
    </titles>
  </titleset>
  <titleset>
    <titles>$audio
      <pgc><vob file="c.mpg">
        <cell start="0" end="3" chapter="1"/>
        <cell start="3" end="6"/>
        <cell start="6" chapter="1"/>
      </vob></pgc>
    </titles>
  </titleset>
</dvdauthor>
XML
fi
VIDEO_FORMAT=PAL dvdauthor -x disc.xml >dvdauthor.log 2>&1 || { cat dvdauthor.log >&2; exit 1; }
cd "$out"
rm -rf work
touch ready
