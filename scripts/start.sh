#!/usr/bin/env bash
# Sets up, builds (release) and starts Quorvane. Arguments go to the program.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
# The desktop program arrives with its own work; until then the command-line tool is the program.
if [ $# -eq 0 ]; then set -- --help; fi
exec build/release/src/cli/quorvane-cli "$@"
