#!/bin/bash
# The file browser's first screen side by side with gThumb, the viewer a Linux user would pick:
# both programs open the same folder of COUNT photos (the corpus hard-linked over and over)
# under Xvfb, and gui_first_screen.py times each from launch to its first visible window and to
# the moment its screen last changed (the first screen of thumbnails complete). Runs are paired
# (ours, then gThumb, then the next pair), first with both thumbnail caches empty (cold), then
# warm (each program's cache as its own cold run left it). Prints every run, the medians and
# the ratios of the medians.
#   Usage: gui_first_screen.sh [BUILD_DIR]   (default build/release)
#   Environment: CORPUS (default /work/corpus), WORK (default /tmp/qv-gui-bench), COUNT (5000),
#   RUNS (default 5), SHOTS (1: keep a screenshot of each program's first screen in WORK).
# Neither program is told it is being measured: Quorvane shows the folder because its settings
# say so (a fresh settings folder whose file browser folder is the bench folder), gThumb because
# it is named on the command line. Each program gets its own home, so the runs touch nothing
# of the user's. gThumb's first start builds caches of its own (media registry, shaders); one
# unmeasured start does that before the runs.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
BUILD=$(readlink -f "${1:-$here/../../build/release}")
APP=$BUILD/src/app/quorvane
CORPUS=${CORPUS:-/work/corpus}
WORK=${WORK:-/tmp/qv-gui-bench}
COUNT=${COUNT:-5000}
RUNS=${RUNS:-5}
SHOTS=${SHOTS:-1}
. "$here/shared_tools.sh"  # SHARED
PROBE=$SHARED/bench/gui_first_screen.py
[ -x "$APP" ] || { echo "no quorvane at $APP; build the release preset first" >&2; exit 2; }
[ -f "$PROBE" ] || { echo "no gui_first_screen.py at $PROBE" >&2; exit 2; }
[ -d "$CORPUS/photos" ] || { echo "no photos in $CORPUS; run $SHARED/bench/make-corpus.sh $CORPUS" >&2; exit 2; }

# The tools this bench alone needs.
missing=()
command -v Xvfb >/dev/null || missing+=(xvfb)
command -v xdotool >/dev/null || missing+=(xdotool)
command -v import >/dev/null || missing+=(imagemagick)
command -v gthumb >/dev/null || missing+=(gthumb)
if [ ${#missing[@]} -gt 0 ]; then
  sudo=; [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -o DPkg::Lock::Timeout=600 \
    --no-install-recommends "${missing[@]}" >/dev/null
fi

rm -rf "$WORK"; mkdir -p "$WORK/photos"
folder=$WORK/photos
# Hard links cost no space; across file systems symbolic links stand in.
link=ln; ln "$(ls "$CORPUS"/photos/*.jpg | head -1)" "$WORK/probe" 2>/dev/null || link="ln -s"
rm -f "$WORK/probe"
mapfile -t photos < <(ls "$CORPUS"/photos/*.jpg)
for ((i = 0; i < COUNT; i++)); do
  source=${photos[$((i % ${#photos[@]}))]}
  $link "$source" "$folder/$(printf %05d_ "$i")$(basename "$source")"
done

qv_env() {  # the environment of Quorvane's runs
  echo env QUORVANE_CONFIG_DIR="$WORK/qv/config" QUORVANE_THUMBNAIL_DIR="$WORK/qv/cache" \
    QUORVANE_LIBRARY_DIR="$WORK/qv/albums" QUORVANE_DATA_DIR="$WORK/qv/data" \
    QUORVANE_BROWSER_DIR="$folder" XDG_RUNTIME_DIR="$WORK/qv/run" HOME="$WORK/qv"
}
gt_env() {
  echo env HOME="$WORK/gt" XDG_CONFIG_HOME="$WORK/gt/config" XDG_CACHE_HOME="$WORK/gt/cache" \
    XDG_DATA_HOME="$WORK/gt/data" XDG_RUNTIME_DIR="$WORK/gt/run"
}
mkdir -p "$WORK/qv/run" "$WORK/gt/run"; chmod 700 "$WORK/qv/run" "$WORK/gt/run"
display=97
probe() {  # label command... ; prints the probe's line, prefixed
  display=$((display + 1))
  echo "$1 $(python3 "$PROBE" "$display" -- "${@:2}")"
}
# A fresh Quorvane settings folder each time: its only memory of earlier runs is the cache.
qv() { rm -rf "$WORK/qv/config" "$WORK/qv/data"; probe "$1" $(qv_env) "$APP"; }
gt() { probe "$1" $(gt_env) gthumb "$folder"; }

# Warm-up: gThumb's first start writes its registries; ours fills nothing that counts.
gt warmup > /dev/null
results=$WORK/results.txt; : > "$results"
# The probe stops a program without waiting for its end; a cold run starts once the last one
# has let go of its cache.
empty_caches() {
  local tries
  for tries in 1 2 3 4 5 6 7 8 9 10; do
    rm -rf "$WORK/qv/cache" "$WORK/gt/cache/thumbnails" 2>/dev/null && return
    sleep 1
  done
  echo "cannot empty the caches" >&2; exit 1
}
for ((run = 1; run <= RUNS; run++)); do
  empty_caches
  qv "quorvane cold" | tee -a "$results"
  gt "gthumb cold" | tee -a "$results"
  qv "quorvane warm" | tee -a "$results"
  gt "gthumb warm" | tee -a "$results"
done

if [ "$SHOTS" = 1 ]; then
  # One more warm start of each, photographed after its screen settled.
  shot() {  # name command...
    Xvfb :96 -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 & local x=$!
    sleep 1
    DISPLAY=:96 "${@:2}" >/dev/null 2>&1 & local p=$!
    sleep 12
    DISPLAY=:96 import -window root "$WORK/$1.png" || true
    kill "$p" 2>/dev/null || true; wait "$p" 2>/dev/null || true
    kill "$x"; wait "$x" 2>/dev/null || true
  }
  rm -rf "$WORK/qv/config" "$WORK/qv/data"
  shot quorvane $(qv_env) "$APP"
  shot gthumb $(gt_env) gthumb "$folder"
  echo "screenshots: $WORK/quorvane.png $WORK/gthumb.png"
fi

python3 - "$results" <<'PY'
import re, statistics, sys
runs = {}
for line in open(sys.argv[1]):
    m = re.match(r"(\w+ \w+) window (\S+) s; screen stable from (\S+) s", line)
    # A screen "stable" before the window was found means the probe gave up on a program that
    # had not drawn its window within 3 s of mapping it: no measurement.
    if not m or m.group(2) == "None" or float(m.group(3)) < float(m.group(2)):
        continue
    runs.setdefault(m.group(1), []).append((float(m.group(2)), float(m.group(3))))
med = {k: (statistics.median(w for w, _ in v), statistics.median(s for _, s in v), len(v))
       for k, v in runs.items()}
for k, (w, s, n) in sorted(med.items()):
    print(f"{k:14s} window {w:5.2f} s  first screen {s:5.2f} s  (medians of {n})")
for cache in ("cold", "warm"):
    a, b = med.get(f"quorvane {cache}"), med.get(f"gthumb {cache}")
    if a and b:
        print(f"{cache}: gThumb / Quorvane first screen {b[1] / a[1]:.1f}x, window {b[0] / a[0]:.1f}x")
PY
