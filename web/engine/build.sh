#!/bin/sh
# Compiles the engine for the page: build/web/zep3.wasm, which needs nothing of a browser. Usage: build.sh
set -eu
cd "$(dirname "$0")/../.."
out=build/web
mkdir -p "$out"

# Debian's Emscripten looks for node's modules elsewhere than other versions of node do.
export NODE_PATH="${NODE_PATH:-/usr/share/nodejs}"

# The engine's sources, as the library lists them.
sources=$(sed -n '/^add_library(zep3_objects OBJECT/,/^)/p' CMakeLists.txt | grep -o 'engine/[a-z0-9_/]*\.cpp')

# The page loads all of it before the first picture: small, but for loops over pixels.
flags="-std=c++20 -ffp-contract=off -fvisibility=hidden -flto -DZEP3_BUILDING -I."
for source in $sources web/engine/web.cpp; do
  object=$out/$(echo "${source%.cpp}" | tr / _).o
  case $source in
    engine/image/*|engine/page/apply.cpp|engine/page/figures.cpp|engine/page/grid.cpp|engine/lut/apply.cpp|engine/zep3_finish.cpp)
      size=-O2 ;;
    *) size=-Oz ;;
  esac
  printf '%s\t%s\t%s\n' "$object" "$source" "$size"
done >"$out/list"

# One line a source, two at a time: what is newer than its object or follows a header or this file.
newest=$(find engine web/engine \( -name '*.h' -o -name build.sh \) -newer "$out/stamp" 2>/dev/null | head -n 1 || true)
[ -f "$out/stamp" ] && [ -z "$newest" ] || rm -f "$out"/*.o
while read -r object source size; do
  [ "$object" -nt "$source" ] || printf '%s %s %s\n' "$source" "$object" "$size"
done <"$out/list" | xargs -r -n 3 -P 2 sh -c 'em++ '"$flags"' "$2" -c "$0" -o "$1"'
touch "$out/stamp"

# shellcheck disable=SC2046
em++ -flto -Oz -sSTANDALONE_WASM --no-entry -sALLOW_MEMORY_GROWTH -sMAXIMUM_MEMORY=4GB $(cut -f 1 "$out/list") -o "$out/zep3.wasm"
ls -l "$out/zep3.wasm" | awk '{ print "zep3.wasm: " $5 " bytes" }'
