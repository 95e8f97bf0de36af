#!/bin/bash
# File-browser thumbnails side by side: `quorvane-cli thumbs` (cold cache, cells of 120 x 90,
# so thumbnails fit 118 x 88) against `vipsthumbnail --size 118x88` on the same photos, timed
# with pairbench.py (interleaved runs, ratios taken pair by pair); then the warm cache alone
# (every entry fresh) on a folder of ~1,200 files; then the PSNR of our thumbnails against
# full decodes.
#   Usage: thumbs_bench.sh [BUILD_DIR]   (default build/release)
#   Environment: CORPUS (default /tmp/corpus, made by make-corpus.sh), WORK (default
#   /tmp/qv-thumbs-bench), RUNS (default 5), COPIES (warm folder: copies of each photo, 20),
#   PAIRBENCH.
# Both sides start from files in the page cache and write one JPEG per photo: vipsthumbnail
# into a folder, quorvane-cli into its cache (plus the index). Each timed command first removes
# the previous run's output. vipsthumbnail runs as a user would run it (libvips picks its own
# thread count); "workers" is ours only.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
BUILD=$(readlink -f "${1:-$here/../../build/release}")
CLI=$BUILD/src/cli/quorvane-cli
PSNR=$BUILD/bench/thumbnail_psnr
CORPUS=${CORPUS:-/tmp/corpus}
WORK=${WORK:-/tmp/qv-thumbs-bench}
RUNS=${RUNS:-5}
COPIES=${COPIES:-20}
. "$here/shared_tools.sh"  # SHARED, PAIRBENCH
[ -x "$CLI" ] || { echo "no quorvane-cli at $CLI; build the release preset first" >&2; exit 2; }
[ -d "$CORPUS/photos" ] || { echo "no photos in $CORPUS; run $SHARED/bench/make-corpus.sh $CORPUS" >&2; exit 2; }
command -v vipsthumbnail >/dev/null || { echo "vipsthumbnail missing (libvips-tools)" >&2; exit 2; }

rm -rf "$WORK"; mkdir -p "$WORK"
photos=$CORPUS/photos
count=$(ls "$photos"/*.jpg | wc -l)
vips="sh -c 'rm -rf $WORK/vt && mkdir $WORK/vt && exec vipsthumbnail --size 118x88 -o $WORK/vt/%s.jpg $photos/*.jpg'"

# Photos per second from the median wall times of one pairbench run.
report() {  # label, pairbench output
  awk -v n="$count" -v label="$1" '
    $1 == "A" && $2 == "wall" { a = $5 }
    $1 == "B" && $2 == "wall" { b = $5 }
    $1 == "A/B" && $2 == "wall" { r = $4 }
    END { printf "%s: ours %.1f photos/s, vipsthumbnail %.1f photos/s, speed-up %.2fx (median of pair ratios)\n",
          label, n / a, n / b, 1 / r }' <<< "$2"
}

for workers in 1 2; do
  echo "== cold cache, $count photos, cells 120x90, $workers worker(s) (A) vs vipsthumbnail (B)"
  out=$(python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 --vs "$vips" -- \
        sh -c "rm -rf $WORK/cache && exec $CLI thumbs $photos --cell 120x90 --cache $WORK/cache --workers $workers")
  echo "$out"
  report "cold, $workers worker(s)" "$out"
done

echo "== warm cache: $COPIES links to each photo, every entry fresh, 2 workers"
mkdir -p "$WORK/many"
for i in $(seq 1 "$COPIES"); do
  for f in "$photos"/*.jpg; do ln -s "$f" "$WORK/many/r${i}_$(basename "$f")"; done
done
files=$(ls "$WORK/many" | wc -l)
"$CLI" thumbs "$WORK/many" --cache "$WORK/warm" --workers 2 > /dev/null 2>&1
out=$(python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 -- \
      "$CLI" thumbs "$WORK/many" --cache "$WORK/warm" --workers 2)
echo "$out"
awk -v n="$files" '$1 == "A" && $2 == "wall" { printf "warm: %d files in %.3f s (median, whole process): %.0f files/s\n", n, $5, n / $5 }' <<< "$out"

echo "== PSNR of our thumbnails (118x88) against full decodes scaled with the same filter"
"$PSNR" "$photos" | tail -1
