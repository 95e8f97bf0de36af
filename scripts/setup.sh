#!/usr/bin/env bash
# Installs every Debian package Quorvane needs to build, test and benchmark on Debian 12.
# Idempotent: when everything is present it only checks and returns.
set -euo pipefail

PACKAGES=(
  # toolchain
  build-essential cmake ninja-build ccache clang clang-format libclang-rt-14-dev
  # the Windows syntax check of the portable core (scripts/check-windows.sh)
  g++-mingw-w64-x86-64-posix
  # images (decoding, encoding, resampling) and album archives
  libjpeg62-turbo-dev libvips-dev libzip-dev zlib1g-dev
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev libpugixml-dev python3 libvips-tools zip unzip
  # mail: TLS and MD5 for the SMTP client; the loopback SMTP and POP3 servers the tests start
  # in the foreground (their system services are not used) and the test certificate's maker
  libssl-dev openssl exim4-daemon-light dovecot-pop3d
  # a font for the text drawn into pictures (placeholders)
  fonts-dejavu-core
  # the desktop's names for the user's folders (xdg-user-dir), which the album library follows
  xdg-user-dirs
  # the desktop program: Qt 6 Widgets, its image plugins and platforms, the X server its smoke
  # test runs under, and the tools that register its file types with the desktop
  qt6-base-dev qt6-image-formats-plugins qt6-qpa-plugins libqt6svg6 xvfb xauth
  desktop-file-utils shared-mime-info
  # scanning (the program builds without it and greys the scanner out); its "test" backend
  # stands in for a scanner in the tests
  libsane-dev
  # web albums opened in a real browser (tests/e2e/cli_web_browser_test.cpp)
  chromium
  # printed albums rendered back to pixels (tests/e2e/cli_print_test.cpp)
  poppler-utils
  # crash reports list every thread of a crashed process with its debugger
  gdb
)
# ... driven from Node; a Node installed otherwise (with its own npm) serves as well.
command -v npm >/dev/null 2>&1 || PACKAGES+=(nodejs npm)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -ne 0 ]; then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  echo "setup: installing ${missing[*]}" >&2
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The browser test's driver and the HTML5 validator of generated pages (it runs offline),
# pinned, into the user's cache folder (never globally). html-validate 9 still runs on the
# Node 18 of Debian 12.
NODE_DIR="${QUORVANE_NODE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/quorvane/node}"
NODE_PACKAGES="playwright-core@1.65.1 html-validate@9.7.1"
if [ "$(cat "$NODE_DIR/.installed" 2>/dev/null)" != "$NODE_PACKAGES" ]; then
  echo "setup: installing $NODE_PACKAGES into $NODE_DIR" >&2
  mkdir -p "$NODE_DIR"
  # shellcheck disable=SC2086  # one word per package
  npm install --silent --no-audit --no-fund --prefix "$NODE_DIR" $NODE_PACKAGES
  echo "$NODE_PACKAGES" > "$NODE_DIR/.installed"
fi
