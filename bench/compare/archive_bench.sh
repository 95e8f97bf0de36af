#!/bin/bash
# Album archives side by side: `quorvane-cli archive pack/unpack` against `zip -r -6` and
# `unzip` on the same ~500 MB album, then an album opened from its archive (`album show`
# reads the index and nothing else; `album set` rewrites the archive carrying the photos over
# still compressed) against unpacking it and against copying the archive, timed in one run
# with pairbench.py (interleaved runs, ratios of medians).
#   Usage: archive_bench.sh [QUORVANE_CLI]   (default build/release/src/cli/quorvane-cli)
#   Environment: CORPUS (default /tmp/corpus, made by make-corpus.sh; generated files when
#   missing), WORK (default /tmp/qvo-archive-bench), RUNS (default 5), PAIRBENCH, PARTS (which
#   comparisons, default "pack,unpack,open").
# Each timed command first removes its previous output, since zip updates an existing archive
# in place and unpacking needs an empty folder; the removal is in both sides of every pair.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
CLI=$(readlink -f "${1:-$here/../../build/release/src/cli/quorvane-cli}")
CORPUS=${CORPUS:-/tmp/corpus}
WORK=${WORK:-/tmp/qvo-archive-bench}
RUNS=${RUNS:-5}
. "$here/shared_tools.sh"  # SHARED, PAIRBENCH
TARGET_MB=${TARGET_MB:-500}
PARTS=${PARTS:-pack,unpack,open}
want() { [[ ",$PARTS," == *",$1,"* ]]; }
[ -x "$CLI" ] || { echo "no quorvane-cli at $CLI; build the release preset first" >&2; exit 2; }

rm -rf "$WORK"; mkdir -p "$WORK/album"; cd "$WORK"
album=$WORK/album
index='<Quorvane Title="Benchmark" Version="1.0">'
add_photo() {  # source file, name in the album; one thumbnail per source file, reused
  local thumb=$WORK/thumbs/$(basename "$1").jpg
  if [ ! -f "$thumb" ]; then
    mkdir -p "$WORK/thumbs"
    vipsthumbnail "$1" --size 118x88 -o "$thumb[Q=75]" 2>/dev/null || head -c 4000 "$1" > "$thumb"
  fi
  cp "$1" "$album/$2"
  cp "$thumb" "$album/_thumb_$2.jpg"
  index+="<Image Format=\"JPEG\" ImageFile=\"$2\" ImageSize=\"0x0\"></Image>"
}
album_mb() { du -sm "$album" | cut -f1; }

if [ -d "$CORPUS/photos" ]; then
  echo "album from $CORPUS (photos repeated under new names up to ${TARGET_MB} MB)"
  # Other formats deflate well, so a few of them keep the deflate path honest.
  for f in "$CORPUS"/formats/*.{png,bmp,tiff,tga,pcx}; do [ -f "$f" ] && cp "$f" "$album/"; done
  round=0
  while [ "$(album_mb)" -lt "$TARGET_MB" ]; do
    for f in "$CORPUS"/photos/*.jpg; do
      add_photo "$f" "r${round}_$(basename "$f")"
      [ "$(album_mb)" -ge "$TARGET_MB" ] && break
    done
    round=$((round + 1))
  done
else
  echo "no corpus at $CORPUS: generated album (incompressible 'photos', compressible text)"
  i=0
  while [ "$(album_mb)" -lt "$TARGET_MB" ]; do
    head -c 4000000 /dev/urandom > "$WORK/noise"
    add_photo "$WORK/noise" "photo$i.jpg"
    i=$((i + 1))
  done
  rm -rf "$WORK/noise" "$WORK/thumbs"
  for i in 1 2 3; do seq 1 2000000 > "$album/table$i.bmp"; done
fi
rm -rf "$WORK/thumbs"
index+='</Quorvane>'
printf '%s' "$index" > "$album/index.quorvane"
echo "album: $(ls "$album" | wc -l) files, $(album_mb) MB"

# Archives to unpack: ours as packed by default (JPEGs stored) and one deflated throughout.
"$CLI" archive pack "$album" stored.qvo
ls -l stored.qvo | awk '{printf "  %-14s %6d MB\n", $9, $5 / 1048576}'
if want pack || want unpack; then
  "$CLI" archive pack --deflate-jpeg "$album" deflated.qvo
  (cd "$album" && zip -qr -6 "$WORK/zip6.zip" .)
  ls -l deflated.qvo zip6.zip | awk '{printf "  %-14s %6d MB\n", $9, $5 / 1048576}'
fi

bench() {  # title, command A, command B
  echo; echo "== $1"
  python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 --vs "sh -c '$3'" -- sh -c "$2"
}
if want pack; then
  bench "pack, JPEGs stored (default) vs zip -r -6" \
    "rm -f a.qvo && '$CLI' archive pack album a.qvo" \
    "rm -f b.zip && cd album && zip -qr -6 ../b.zip ."
  bench "pack, everything deflated at 6 vs zip -r -6" \
    "rm -f a.qvo && '$CLI' archive pack --deflate-jpeg album a.qvo" \
    "rm -f b.zip && cd album && zip -qr -6 ../b.zip ."
fi
if want unpack; then
  bench "unpack the default archive vs unzip of the same archive" \
    "rm -rf ua && '$CLI' archive unpack stored.qvo ua" \
    "rm -rf ub && unzip -q stored.qvo -d ub"
  bench "unpack the all-deflated archive vs unzip of the same archive" \
    "rm -rf ua && '$CLI' archive unpack deflated.qvo ua" \
    "rm -rf ub && unzip -q deflated.qvo -d ub"
fi
if want open; then
  # An album opened from its archive reads the index and nothing else (goal: 20x faster
  # than unpacking); a change writes a new archive with the photos carried over, which is
  # at best a copy of the archive flushed to the disk.
  bench "album show of the default archive vs unzip -q of it to a folder" \
    "'$CLI' album show stored.qvo" \
    "rm -rf ub && unzip -q stored.qvo -d ub"
  bench "album show of the default archive vs archive unpack of it" \
    "'$CLI' album show stored.qvo" \
    "rm -rf ua && '$CLI' archive unpack stored.qvo ua"
  cp stored.qvo edited.qvo
  bench "album set on the default archive (a new archive, photos carried over) vs cp + sync" \
    "'$CLI' album set edited.qvo --title Renamed" \
    "rm -f copy.qvo && cp stored.qvo copy.qvo && sync copy.qvo"
fi
rm -rf "$WORK"
