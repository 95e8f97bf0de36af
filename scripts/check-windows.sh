#!/usr/bin/env bash
# Compiles the portable core for Windows with MinGW-w64 (syntax and types only, warnings as
# errors), so the Windows branches stay compilable although we build and test on Linux.
# The image engine (src/image) is left out: it is libvips through and through, whose headers
# are installed for Linux only, and it has no code of its own for either system.
set -euo pipefail
cd "$(dirname "$0")/.."
CXX=${MINGW_CXX:-x86_64-w64-mingw32-g++-posix}
command -v "$CXX" >/dev/null || { echo "no $CXX; run scripts/setup.sh" >&2; exit 2; }
check() {
  # libzip's and pugixml's headers are plain C/C++ and serve for both systems.
  "$CXX" -std=c++20 -fsyntax-only -Werror -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor \
    -Wold-style-cast -Wcast-qual -Wundef -Isrc -idirafter /usr/include \
    -idirafter /usr/include/x86_64-linux-gnu "$1"
}
export -f check
export CXX
git ls-files 'src/*.cpp' | grep -v -e '/tests/' -e '^src/testing/' -e '^src/app/' -e '^src/image/' |
  xargs -P 2 -I{} bash -c 'check {} || { echo "Windows build fails: {}" >&2; exit 255; }'
echo "Windows syntax check passed" >&2
