#!/bin/bash
# Start-up to a visible window, side by side with gThumb: each program starts with nothing to
# show (Quorvane with no album and an empty file browser folder, gThumb on an empty folder)
# under Xvfb, and the time from launch until xdotool finds a visible window of the process is
# taken, polling as fast as xdotool answers (a few ms). Runs are paired, ours then gThumb's;
# prints every run, the medians and their ratio.
#   Usage: startup_bench.sh [BUILD_DIR]   (default build/release)
#   Environment: WORK (default /tmp/qv-startup-bench), RUNS (default 11).
# Each program has a home of its own in WORK; both are started once unmeasured first (font and
# media caches), and Quorvane's settings folder is made afresh for every run (its first start).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
BUILD=$(readlink -f "${1:-$here/../../build/release}")
APP=$BUILD/src/app/quorvane
WORK=${WORK:-/tmp/qv-startup-bench}
RUNS=${RUNS:-11}
[ -x "$APP" ] || { echo "no quorvane at $APP; build the release preset first" >&2; exit 2; }
missing=()
command -v Xvfb >/dev/null || missing+=(xvfb)
command -v xdotool >/dev/null || missing+=(xdotool)
command -v gthumb >/dev/null || missing+=(gthumb)
if [ ${#missing[@]} -gt 0 ]; then
  sudo=; [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -o DPkg::Lock::Timeout=600 \
    --no-install-recommends "${missing[@]}" >/dev/null
fi
rm -rf "$WORK"; mkdir -p "$WORK/empty" "$WORK/qv/run" "$WORK/gt/run"
chmod 700 "$WORK/qv/run" "$WORK/gt/run"

python3 - "$WORK" "$APP" "$RUNS" <<'PY'
import os, shutil, statistics, subprocess, sys, time
work, app, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])
# Xvfb picks a free display itself and tells its number once it accepts clients, so a display
# left by another run can neither clash nor be mistaken for ours.
read_fd, write_fd = os.pipe()
xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(write_fd), "-screen", "0", "1280x800x24",
                         "-nolisten", "tcp"], pass_fds=(write_fd,),
                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
os.close(write_fd)
with os.fdopen(read_fd) as answer:
    display = ":" + answer.readline().strip()
base = dict(os.environ, DISPLAY=display)
qv_env = dict(base, QUORVANE_CONFIG_DIR=f"{work}/qv/config",
              QUORVANE_THUMBNAIL_DIR=f"{work}/qv/cache", QUORVANE_LIBRARY_DIR=f"{work}/qv/albums",
              QUORVANE_DATA_DIR=f"{work}/qv/data", QUORVANE_BROWSER_DIR=f"{work}/empty",
              XDG_RUNTIME_DIR=f"{work}/qv/run", HOME=f"{work}/qv")
gt_env = dict(base, HOME=f"{work}/gt", XDG_CONFIG_HOME=f"{work}/gt/config",
              XDG_CACHE_HOME=f"{work}/gt/cache", XDG_DATA_HOME=f"{work}/gt/data",
              XDG_RUNTIME_DIR=f"{work}/gt/run")
programs = {"quorvane": ([app], qv_env), "gthumb": (["gthumb", f"{work}/empty"], gt_env)}

def start(name):
    if name == "quorvane":
        shutil.rmtree(f"{work}/qv/config", ignore_errors=True)
        shutil.rmtree(f"{work}/qv/data", ignore_errors=True)
    command, env = programs[name]
    t0 = time.monotonic()
    p = subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    seen = None
    while time.monotonic() - t0 < 60:
        r = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(p.pid)],
                           env=base, capture_output=True, text=True)
        if r.stdout.strip():
            seen = time.monotonic() - t0
            break
    p.terminate()
    try:
        p.wait(10)
    except subprocess.TimeoutExpired:
        p.kill(); p.wait()
    return seen

try:
    for name in programs:
        start(name)  # unmeasured
    times = {name: [] for name in programs}
    for run in range(runs):
        for name in programs:
            t = start(name)
            print(f"{name} run {run + 1}: window after {t * 1000:.0f} ms" if t else f"{name}: no window")
            if t:
                times[name].append(t)
    med = {k: statistics.median(v) for k, v in times.items() if v}
    for k, v in med.items():
        print(f"{k}: window after {v * 1000:.0f} ms (median of {len(times[k])})")
    if len(med) == 2:
        print(f"gThumb / Quorvane: {med['gthumb'] / med['quorvane']:.1f}x")
finally:
    xvfb.terminate()
PY
