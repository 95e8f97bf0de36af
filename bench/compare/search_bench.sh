#!/bin/bash
# Photo search side by side: `quorvane-cli search` over a generated library of 1,000 albums
# of 100 photos each (find the albums, read every index, match every photo's caption,
# description and keywords, print and keep the results) against `cat` of the same index
# files, timed with pairbench.py (interleaved runs, ratios of medians).
#   Usage: search_bench.sh [QUORVANE_CLI]   (default build/release/src/cli/quorvane-cli)
#   Environment: WORK (default /tmp/qv-search-bench), ALBUMS (1000), PHOTOS (100), RUNS (7),
#   PAIRBENCH.
# Searches, all fields: the library's most frequent word ("beach"), a common one
# ("harbour"), a text found nowhere, and an accented capital ("ÉTÉ") that only Unicode
# folding finds.
# Searches remember the album folders whose photos were all there (the presence cache in the
# data folder), so the warm runs list no folder; the last comparison deletes that cache before
# every run, as the first search after every album changed would find it.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
CLI=$(readlink -f "${1:-$here/../../build/release/src/cli/quorvane-cli}")
WORK=${WORK:-/tmp/qv-search-bench}
ALBUMS=${ALBUMS:-1000}
PHOTOS=${PHOTOS:-100}
RUNS=${RUNS:-7}
. "$here/shared_tools.sh"  # SHARED, PAIRBENCH
[ -x "$CLI" ] || { echo "no quorvane-cli at $CLI; build the release preset first" >&2; exit 2; }

rm -rf "$WORK"; mkdir -p "$WORK/config"
library=$WORK/library
python3 "$here/make_search_library.py" "$library" "$ALBUMS" "$PHOTOS"
sleep 4  # file times younger than a few seconds are never trusted by the presence cache

export QUORVANE_CONFIG_DIR=$WORK/config QUORVANE_LIBRARY_DIR=$library
export QUORVANE_THUMBNAIL_DIR=$WORK/data/Thumbnail QUORVANE_BROWSER_DIR=$WORK/browse
export QUORVANE_DATA_DIR=$WORK/data
echo "library: $ALBUMS albums of $PHOTOS photos, $(du -sh "$library" | cut -f1) on disk;" \
     "index files $(cat "$library"/*/index.quorvane | wc -c) bytes"
for text in beach harbour nosuchword ÉTÉ; do
  echo "search \"$text\": $("$CLI" search "$text" --library "$library" | wc -l) results"
done

cat_all="sh -c 'cat $library/*/index.quorvane'"
for text in beach harbour nosuchword ÉTÉ; do
  echo "== warm: search \"$text\" vs cat of every index =="
  python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 --vs "$cat_all" -- \
    "$CLI" search "$text" --library "$library"
done

presence=$WORK/data/photo-presence.cache
echo "== cold presence cache: search \"beach\" (cache deleted before each run) vs cat =="
python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 --vs "$cat_all" -- \
  sh -c "rm -f '$presence'; exec '$CLI' search beach --library '$library'"
