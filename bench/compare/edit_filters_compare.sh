#!/bin/bash
# The edit filters against libvips on a 24-megapixel photo, side by side in one process
# (bench/edit_filters_bench.cpp): both start from the same decoded pixels in memory and end
# with a new image in memory, so decoding and encoding are out of the comparison. Each pair
# runs interleaved, REPS times; the script prints the medians and the ratios ours / libvips of
# wall time and of CPU time of the whole process (all threads).
#   Usage: edit_filters_compare.sh [BENCH]   (default build/release/bench/edit_filters_bench)
#   Environment: QUORVANE_BENCH_PHOTO (default /tmp/corpus/big24mp.jpg), REPS (default 5).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
BENCH=$(readlink -f "${1:-$here/../../build/release/bench/edit_filters_bench}")
REPS=${REPS:-5}
[ -x "$BENCH" ] || { echo "no benchmark at $BENCH; build the release preset first" >&2; exit 2; }
out=$(mktemp)
trap 'rm -f "$out"' EXIT
"$BENCH" --benchmark_filter='Ours_|Vips_' --benchmark_repetitions="$REPS" \
  --benchmark_enable_random_interleaving=true --benchmark_format=json >"$out" 2>/dev/null
python3 - "$out" <<'PY'
import json, statistics, sys
runs = [b for b in json.load(open(sys.argv[1]))["benchmarks"] if b.get("run_type") == "iteration"]
by = {}
for b in runs:
    name = b["run_name"].split("/")[0]
    by.setdefault(name, []).append((b["real_time"], b["cpu_time"]))
ops = sorted({n.split("_", 2)[2] for n in by if n.startswith("BM_Ours_") and "CopyOnly" not in n})
print(f"{'operation':<14}{'ours ms':>10}{'vips ms':>10}{'wall ratio':>12}{'ours cpu':>10}{'vips cpu':>10}{'cpu ratio':>11}")
for op in ops:
    o, v = by.get("BM_Ours_" + op), by.get("BM_Vips_" + op)
    if not o or not v:
        continue
    ow, oc = statistics.median(x[0] for x in o), statistics.median(x[1] for x in o)
    vw, vc = statistics.median(x[0] for x in v), statistics.median(x[1] for x in v)
    print(f"{op:<14}{ow:>10.0f}{vw:>10.0f}{ow / vw:>12.2f}{oc:>10.0f}{vc:>10.0f}{oc / vc:>11.2f}")
PY
