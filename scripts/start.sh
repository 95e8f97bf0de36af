#!/usr/bin/env bash
# Sets up, builds (release) and starts the Quorvane desktop program. Arguments go to the
# program (an album folder or ".qvo" archive to open, or -initialize).
set -euo pipefail
cd "$(dirname "$0")/.."

# Without a display the program cannot open its window: say how to run it instead.
needs_display=1
for arg in "$@"; do
  case "$arg" in -initialize|/initialize|-INITIALIZE|/INITIALIZE) needs_display=0 ;; esac
done
if [ "$needs_display" -eq 1 ] && [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] &&
   [ -z "${QT_QPA_PLATFORM:-}" ]; then
  cat >&2 <<'MSG'
start.sh: there is no display to open the Quorvane window on (neither DISPLAY nor
WAYLAND_DISPLAY is set). Run it under a virtual X server:
    xvfb-run -a bash scripts/start.sh [album]
or without any window system:
    QT_QPA_PLATFORM=offscreen bash scripts/start.sh [album]
For the command-line tool, build and run build/release/src/cli/quorvane-cli --help.
MSG
  exit 2
fi

bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target quorvane
exec build/release/src/app/quorvane "$@"
