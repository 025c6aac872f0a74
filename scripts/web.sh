#!/bin/sh
# Builds the engine for the browser and the page (web/dist), and tests both. Usage: web.sh [--build]: without tests
set -eu
cd "$(dirname "$0")/.."

sh scripts/setup.sh emscripten
# Debian 12 has an older one, which the bundler does not take: from nodejs.org, or a backport.
node -e 'const [major, minor] = process.versions.node.split("."); process.exit(major > 20 || (major == 20 && minor >= 19) ? 0 : 1)' 2>/dev/null || {
  echo "web.sh: Node.js 20.19 or newer, with npm, is needed to build the page" >&2
  exit 1
}
npm --prefix web ci --silent
sh web/engine/build.sh
npm --prefix web run --silent check
npm --prefix web run --silent build
[ "${1:-}" != --build ] || exit 0

sh scripts/setup.sh chromium libvips-tools libimage-exiftool-perl
[ -x build/release/zep3 ] || {
  [ -f build/release/CMakeCache.txt ] || cmake --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ >/dev/null
  cmake --build --preset release --target zep3_program >/dev/null
}
npm --prefix web test --silent
