#!/usr/bin/env python3
"""Runs xml_bench several times and reports our parser and writer beside pugixml.

Each run measures both sides back to back, so the ratio is taken run by run and the
median of those ratios is reported (slow drift of a shared machine cancels out).
Usage: xml_compare.py [path/to/xml_bench] [runs]
"""
import json
import statistics
import subprocess
import sys

bench = sys.argv[1] if len(sys.argv) > 1 else "build/release/bench/xml_bench"
runs = int(sys.argv[2]) if len(sys.argv) > 2 else 5
samples = {}
for _ in range(runs):
    out = subprocess.run([bench, "--benchmark_format=json", "--benchmark_min_time=1"],
                         check=True, capture_output=True, text=True).stdout
    for b in json.loads(out)["benchmarks"]:
        samples.setdefault(b["name"], []).append(b)

def median(name, key):
    return statistics.median(b[key] for b in samples[name])

print(f"{'benchmark':<22}{'median ms':>12}{'MB/s':>10}")
for name in samples:
    mbs = median(name, "bytes_per_second") / 1e6 if "bytes_per_second" in samples[name][0] else 0
    print(f"{name:<22}{median(name, 'real_time'):>12.1f}{mbs:>10.0f}")
for what in ("Parse", "Write"):
    ours, theirs = samples[f"BM_{what}_Quorvane"], samples[f"BM_{what}_Pugixml"]
    ratios = [a["bytes_per_second"] / b["bytes_per_second"] for a, b in zip(ours, theirs)]
    print(f"{what}: Quorvane/pugixml throughput = {statistics.median(ratios):.2f} "
          f"(runs: {', '.join(f'{r:.2f}' for r in ratios)})")
