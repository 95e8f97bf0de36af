#!/bin/bash
# Adding photos to an album side by side: `quorvane-cli album add` (copy + thumbnail + index
# per photo) against `cp` plus `vipsthumbnail` of the same files at the same thumbnail size
# and JPEG quality, timed in one run with pairbench.py (interleaved runs, paired ratios).
# Then the peak memory of adding one 24-megapixel JPEG, against vipsthumbnail alone.
#   Usage: add_bench.sh [QUORVANE_CLI]   (default build/release/src/cli/quorvane-cli)
#   Environment: CORPUS (default /tmp/corpus, made by make-corpus.sh), WORK (default
#   /tmp/qvo-add-bench), RUNS (default 5), PAIRBENCH.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
CLI=$(readlink -f "${1:-$here/../../build/release/src/cli/quorvane-cli}")
CORPUS=${CORPUS:-/tmp/corpus}
WORK=${WORK:-/tmp/qvo-add-bench}
RUNS=${RUNS:-5}
. "$here/shared_tools.sh"  # SHARED, PAIRBENCH
[ -x "$CLI" ] || { echo "no quorvane-cli at $CLI; build the release preset first" >&2; exit 2; }
[ -d "$CORPUS/photos" ] || { echo "no corpus at $CORPUS; run $SHARED/bench/make-corpus.sh $CORPUS" >&2; exit 2; }

rm -rf "$WORK"; mkdir -p "$WORK"
# The CLI reads the user's settings; keep the run away from the real ones. Thumbnails at
# quality 85 (our default) on both sides.
export QUORVANE_CONFIG_DIR=$WORK/config QUORVANE_LIBRARY_DIR=$WORK/albums
export QUORVANE_THUMBNAIL_DIR=$WORK/thumbs QUORVANE_BROWSER_DIR=$WORK/pictures
export QUORVANE_DATA_DIR=$WORK/data
photos=("$CORPUS"/photos/*.jpg)
count=${#photos[@]}
megabytes=$(du -cm "${photos[@]}" | tail -1 | cut -f1)
echo "adding $count photos ($megabytes MB) to a new album"

quoted=$(printf ' %q' "${photos[@]}")
ours="rm -rf $WORK/a && $CLI album create $WORK/a && $CLI album add $WORK/a$quoted"
theirs="rm -rf $WORK/b && mkdir $WORK/b && cp$quoted $WORK/b/ && \
vipsthumbnail$quoted --size 118x88 -o $WORK/b/_thumb_%s.jpg[Q=85]"
python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 --vs "bash -c $(printf %q "$theirs")" -- bash -c "$ours"

# Both made one thumbnail per photo.
[ "$(ls "$WORK"/a/_thumb_* | wc -l)" = "$count" ] || { echo "album has the wrong thumbnails" >&2; exit 1; }

big=$CORPUS/big24mp.jpg
if [ -f "$big" ]; then
  echo
  echo "peak memory adding one 24-megapixel JPEG ($(vipsheader "$big"))"
  python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 \
    --vs "bash -c $(printf %q "rm -rf $WORK/d && mkdir $WORK/d && vipsthumbnail $big --size 118x88 -o $WORK/d/t.jpg[Q=85]")" \
    -- bash -c "rm -rf $WORK/c && $CLI album create $WORK/c && $CLI album add $WORK/c $big"
fi
