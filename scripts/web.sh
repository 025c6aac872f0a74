#!/bin/sh
# Builds the engine for the browser and the page (web/dist), and tests both. Usage: web.sh [--build]: without tests
set -eu
cd "$(dirname "$0")/.."

sh scripts/setup.sh emscripten
command -v npm >/dev/null || sh scripts/setup.sh npm
# The bundler takes Node.js from 20.19 on, which Debian 12 does not have: then it comes as a package, too.
new='const [a, b] = process.versions.node.split("."); process.exit(a > 20 || (a == 20 && b >= 19) ? 0 : 1)'
node -e "$new" || {
  [ -x build/node/node_modules/node/bin/node ] || npm install --loglevel=error --no-save --prefix build/node node@22
  PATH=$PWD/build/node/node_modules/node/bin:$PATH
  export PATH
}
npm --prefix web ci --loglevel=error
sh web/engine/build.sh
npm --prefix web run --silent check
npm --prefix web run --silent build
[ "${1:-}" != --build ] || exit 0

sh scripts/setup.sh chromium libvips-tools libimage-exiftool-perl
[ -f build/release/CMakeCache.txt ] || cmake --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ >/dev/null
cmake --build --preset release --target zep3_program >/dev/null
npm --prefix web test --silent
