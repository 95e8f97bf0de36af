#!/usr/bin/env bash
# Sets up, builds and runs every test: the debug build (warnings as errors), then the whole
# suite again under AddressSanitizer + UndefinedBehaviorSanitizer, then the Windows syntax
# check of the portable core.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
for preset in dev asan; do
  echo "== $preset ==" >&2
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
echo "== windows ==" >&2
bash scripts/check-windows.sh
