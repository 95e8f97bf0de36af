#!/bin/bash
# The album library side by side: `quorvane-cli library list` (find the albums, read each
# index for title, date and photo count, sort, print) against `cat` of the same index files,
# on a generated library of 2,000 albums of 50 photos each, timed with pairbench.py
# (interleaved runs, ratios of medians).
#   Usage: library_bench.sh [QUORVANE_CLI]   (default build/release/src/cli/quorvane-cli)
#   Environment: WORK (default /tmp/qv-library-bench), ALBUMS (2000), PHOTOS (50),
#   RUNS (default 7), PAIRBENCH.
# Two rounds: warm (files in the page cache), then cold-ish, where both sides first drop the
# library's pages with posix_fadvise(DONTNEED) (no root needed); a third command that only
# drops the pages is timed too, so its cost can be taken off both sides.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
CLI=$(readlink -f "${1:-$here/../../build/release/src/cli/quorvane-cli}")
WORK=${WORK:-/tmp/qv-library-bench}
ALBUMS=${ALBUMS:-2000}
PHOTOS=${PHOTOS:-50}
RUNS=${RUNS:-7}
. "$here/shared_tools.sh"  # SHARED, PAIRBENCH
[ -x "$CLI" ] || { echo "no quorvane-cli at $CLI; build the release preset first" >&2; exit 2; }

rm -rf "$WORK"; mkdir -p "$WORK/library" "$WORK/config"
library=$WORK/library

# Albums as the program writes them: one-line index, a photo file and a thumbnail per photo
# (empty files: listing never opens them).
python3 - "$library" "$ALBUMS" "$PHOTOS" <<'PY'
import os, random, sys
library, albums, photos = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
rng = random.Random(4)
words = "beach sunset harbour mountain garden city river snow market family birthday".split()
for a in range(albums):
    folder = os.path.join(library, f"Album {a:05d}")
    os.mkdir(folder)
    y, m, d = rng.randint(1990, 2026), rng.randint(1, 12), rng.randint(1, 28)
    title = " ".join(rng.choice(words).capitalize() for _ in range(3)) + f" &amp; {a}"
    parts = [f'<Quorvane Version="1.0" Title="{title}" Date="{y:04d}-{m:02d}-{d:02d}">'
             f'A few days at the {rng.choice(words)}.']
    for p in range(photos):
        name = f"IMG_{p:04d}.jpg"
        for f in (name, f"_thumb_{name}.jpg"):
            open(os.path.join(folder, f), "wb").close()
        parts.append(f'<Image ImageFile="{name}" ImageSize="4000x3000" Format="JPEG" '
                     f'Title="{rng.choice(words).capitalize()} {p}" '
                     f'Keywords="{rng.choice(words)}, {rng.choice(words)}" '
                     f'Date="{y:04d}-{m:02d}-{d:02d}">Photo {p} of album {a}, '
                     f'{rng.choice(words)} and {rng.choice(words)}.</Image>')
    parts.append("</Quorvane>")
    with open(os.path.join(folder, "index.quorvane"), "w") as out:
        out.write("".join(parts))
PY

cat > "$WORK/evict.py" <<'PY'
import os, sys
for root, dirs, files in os.walk(sys.argv[1]):
    for f in files:
        if f == "index.quorvane":
            fd = os.open(os.path.join(root, f), os.O_RDONLY)
            os.posix_fadvise(fd, 0, 0, os.POSIX_FADV_DONTNEED)
            os.close(fd)
PY

export QUORVANE_CONFIG_DIR=$WORK/config QUORVANE_LIBRARY_DIR=$library
export QUORVANE_THUMBNAIL_DIR=$WORK/thumbs QUORVANE_BROWSER_DIR=$WORK/browse
export QUORVANE_DATA_DIR=$WORK/data
count=$("$CLI" library list --library "$library" | wc -l)
echo "library: $count albums of $PHOTOS photos, $(du -sh "$library" | cut -f1) on disk;" \
     "index files $(cat "$library"/*/index.quorvane | wc -c) bytes"
[ "$count" -eq "$ALBUMS" ] || { echo "expected $ALBUMS albums" >&2; exit 1; }

list="$CLI library list --library $library"
cat_all="sh -c 'cat $library/*/index.quorvane'"
evict="python3 $WORK/evict.py $library"

echo "== warm: library list vs cat of every index =="
python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 --vs "$cat_all" -- sh -c "$list"

echo "== cold-ish: both sides drop the index pages first =="
python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 --vs "sh -c '$evict && cat $library/*/index.quorvane'" \
  -- sh -c "$evict && $list"
echo "== cost of dropping the pages alone (subtract from both sides above) =="
python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 -- sh -c "$evict"
