#!/usr/bin/env bash
# Compiles the portable core for Windows with MinGW-w64 (syntax and types only, warnings as
# errors), so the Windows branches stay compilable although we build and test on Linux.
# The image engine (src/image) is left out: it is libvips through and through, whose headers
# are installed for Linux only. Its pieces of system code, opening libvips at run time
# (internal/shared_library.cpp) and asking for the machine's memory (internal/decode_budget.cpp),
# include no libvips header and are checked, as is the image type table. Files that hold only
# the POSIX side of a piece (name_posix.cpp beside name_windows.cpp) are left out.
set -euo pipefail
cd "$(dirname "$0")/.."
CXX=${MINGW_CXX:-x86_64-w64-mingw32-g++-posix}
command -v "$CXX" >/dev/null || { echo "no $CXX; run scripts/setup.sh" >&2; exit 2; }
# libzip's headers are plain C and serve for both systems; only they are borrowed from the
# Linux include folders, so no glibc header can stand in for a Windows one.
borrowed=$(mktemp -d)
trap 'rm -rf "$borrowed"' EXIT
ln -s /usr/include/zip.h "$borrowed/zip.h"
ln -s "$(dirname "$(find /usr/include -name zipconf.h | head -1)")/zipconf.h" "$borrowed/zipconf.h"
# OpenSSL's headers (mail's TLS and MD5) likewise, with the few that the build configured.
mkdir "$borrowed/openssl"
ln -s /usr/include/openssl/*.h "$borrowed/openssl/"
ln -sf "$(dirname "$(find /usr/include -path "*-linux-gnu/openssl/configuration.h" | head -1)")"/*.h \
  "$borrowed/openssl/"
check() {
  "$CXX" -std=c++20 -fsyntax-only -Werror -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor \
    -Wold-style-cast -Wcast-qual -Wundef -Isrc -idirafter "$borrowed" "$1"
}
export -f check
export CXX borrowed
{ git ls-files 'src/*.cpp' | grep -v -e '/tests/' -e '^src/testing/' -e '^src/app/' -e '^src/image/' -e '_posix\.cpp$'
  echo src/image/internal/shared_library.cpp; echo src/image/internal/decode_budget.cpp;
  echo src/image/image_types.cpp; } |
  xargs -P 2 -I{} bash -c 'check {} || { echo "Windows build fails: {}" >&2; exit 255; }'
echo "Windows syntax check passed" >&2
