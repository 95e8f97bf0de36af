#!/bin/bash
# Web albums side by side: `quorvane-cli web build` against the gallery generators in Debian
# (llgal, lazygal, igal2, fgallery), each making photos of at most 800 x 600 and thumbnails of
# at most 100 x 100 with all their pages from the same photos, timed with pairbench.py
# (interleaved runs, ratios taken pair by pair). Then ours alone: a rebuild after changing one
# caption, and the peak memory of an album that holds a 24 MP photo.
#   Usage: web_bench.sh [BUILD_DIR]   (default build/release)
#   Environment: CORPUS (default /work/corpus: photos/ and big24mp.jpg), WORK (default
#   /tmp/qv-web-bench), RUNS (default 3), TOOLS (default "llgal lazygal igal2 fgallery"),
#   PAIRBENCH.
# The other tools are installed here when missing (they are needed by nothing else). Each timed
# command first removes the previous run's output, so every run is a full build. llgal and
# igal2 write beside the photos, so they get a folder of links of their own. Our design is the
# built-in Classic with 100 x 100 thumbnails; photos are re-encoded at quality 85.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
BUILD=$(readlink -f "${1:-$here/../../build/release}")
CLI=$BUILD/src/cli/quorvane-cli
CORPUS=${CORPUS:-/work/corpus}
WORK=${WORK:-/tmp/qv-web-bench}
RUNS=${RUNS:-3}
TOOLS=${TOOLS:-llgal lazygal igal2 fgallery}
. "$here/shared_tools.sh"  # SHARED, PAIRBENCH
[ -x "$CLI" ] || { echo "no quorvane-cli at $CLI; build the release preset first" >&2; exit 2; }
[ -d "$CORPUS/photos" ] || { echo "no photos in $CORPUS/photos" >&2; exit 2; }

missing=()
for tool in $TOOLS; do command -v "$tool" > /dev/null || missing+=("$tool"); done
if [ ${#missing[@]} -gt 0 ]; then
  echo "== installing ${missing[*]}"
  sudo=; [ "$(id -u)" = 0 ] || sudo=sudo
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
    "${missing[@]}" > /dev/null
fi

rm -rf "$WORK"; mkdir -p "$WORK"
photos=$CORPUS/photos
count=$(ls "$photos"/*.jpg | wc -l)
mkdir -p "$WORK/design"
sed -e 's/DefaultThumbWidth="[0-9]*"/DefaultThumbWidth="100"/g' \
    -e 's/DefaultThumbHeight="[0-9]*"/DefaultThumbHeight="100"/g' \
    "$here/../../templates/classic/classic.qvotmpl" > "$WORK/design/classic.qvotmpl"
cp "$here"/../../templates/classic/*.css "$WORK/design/"
"$CLI" album create "$WORK/album" --title Corpus > /dev/null
"$CLI" album add "$WORK/album" "$photos"/*.jpg > /dev/null 2>&1
build="$CLI web build $WORK/album $WORK/ours --template $WORK/design --size 800x600"
ours="rm -rf $WORK/ours && exec $build"

# A folder of links to the photos, for the tools that write beside them.
links() {
  rm -rf "$1"; mkdir -p "$1"
  for f in "$photos"/*.jpg; do ln -s "$f" "$1/"; done
}
snippet_of() {  # tool: a shell command line that makes a whole album
  local out=$WORK/$1
  case $1 in
    llgal) echo "rm -rf $out/.llgal $out/*.html && exec llgal -d $out --sx 800 --sy 600 --tx 100 --ty 100" ;;
    igal2) echo "rm -f $out/.slide_* $out/.thumb_* $out/.*template2.html $out/*.html && exec igal2 -d $out --bigy 600 --xy 100" ;;
    lazygal) echo "rm -rf $out && exec lazygal --quiet -o $out -s big=800x600 -T 100x100 -q 85 $photos" ;;
    fgallery) echo "rm -rf $out && exec fgallery -d -s -j 2 --no-sRGB --max-full 800x600 --max-thumb 100x100 --quality 85 $photos $out" ;;
  esac
}

# Photos per second from the median wall times of one pairbench run.
report() {  # tool, pairbench output
  awk -v n="$count" -v tool="$1" '
    $1 == "A" && $2 == "wall" { a = $5 }
    $1 == "B" && $2 == "wall" { b = $5 }
    $1 == "A" && $2 == "peak" { pa = $5 }
    $1 == "B" && $2 == "peak" { pb = $5 }
    $1 == "A/B" && $2 == "wall" { r = $4 }
    END { printf "SUMMARY %-9s ours %5.1f photos/s (%.1f s, %.0f MB) | %s %5.2f photos/s (%.1f s, %.0f MB) | speed-up %.1fx\n",
          tool, n / a, a, pa, tool, n / b, b, pb, 1 / r }' <<< "$2"
}

summary=()
for tool in $TOOLS; do
  case $tool in llgal|igal2) links "$WORK/$tool" ;; esac
  other=$(snippet_of "$tool")
  # A tool that cannot make an album here is left out, with its reason.
  if ! sh -c "$other" > "$WORK/$tool.log" 2>&1; then
    echo "== $tool failed here; left out:"; tail -3 "$WORK/$tool.log"
    continue
  fi
  echo "== $count photos: quorvane-cli (A) vs $tool (B)"
  out=$(python3 "$PAIRBENCH" -n "$RUNS" --warmup 0 --vs "sh -c '$other'" -- sh -c "$ours")
  echo "$out"
  summary+=("$(report "$tool" "$out")")
done

echo "== rebuild after changing one caption (A) vs a full build (B)"
sh -c "$ours" 2> /dev/null
rebuild="$CLI photo set $WORK/album 1 --caption \"Caption \$\$\" && exec $build"
out=$(python3 "$PAIRBENCH" -n "$RUNS" --warmup 1 --vs "sh -c 'rm -rf $WORK/full && exec ${build/ours/full}'" \
      -- sh -c "$rebuild")
echo "$out"
rebuild_share=$(awk '$1 == "A/B" && $2 == "wall" { printf "%.1f", $4 * 100 }' <<< "$out")

echo "== peak memory: the album with a 24 MP photo added"
cp -r "$WORK/album" "$WORK/album24"
"$CLI" album add "$WORK/album24" "$CORPUS/big24mp.jpg" > /dev/null 2>&1
out=$(python3 "$PAIRBENCH" -n 1 --warmup 0 -- \
      sh -c "rm -rf $WORK/big && exec $CLI web build $WORK/album24 $WORK/big --template $WORK/design --size 800x600")
echo "$out"
peak=$(awk '$1 == "A" && $2 == "peak" { print $5 }' <<< "$out")

echo
printf '%s\n' "${summary[@]}"
echo "SUMMARY rebuild after one caption: ${rebuild_share}% of a full build (goal < 5%)"
echo "SUMMARY peak memory with a 24 MP photo: ${peak} MB (goal < 150 MB)"
