#!/bin/sh
# Compiles the engine for the page: build/web/zep3.wasm and zep3-more.wasm, which need nothing of a browser.
# Usage: build.sh
set -eu
cd "$(dirname "$0")/../.."
out=build/web
mkdir -p "$out"

# Debian's Emscripten looks for node's modules elsewhere than other versions of node do.
export NODE_PATH="${NODE_PATH:-/usr/share/nodejs}"

# The engine's sources, as the library lists them.
sources=$(sed -n '/^add_library(zep3_objects OBJECT/,/^)/p' CMakeLists.txt | grep -o 'engine/[a-z0-9_/]*\.cpp')

# The page loads the engine before the first picture: small, but for loops over pixels. What the first picture of a
# positive does not call (film, rolls, the standard analysis, the pipette) is a second file, loaded when it is called.
flags="-std=c++20 -ffp-contract=off -fvisibility=hidden -DZEP3_BUILDING -I."
for source in $sources web/engine/web.cpp; do
  object=$out/$(echo "${source%.cpp}" | tr / _).o
  case $source in
    engine/image/*|engine/page/apply.cpp|engine/page/figures.cpp|engine/page/grid.cpp|engine/lut/apply.cpp|engine/zep3_finish.cpp)
      size=-O2 ;;
    *) size=-Oz ;;
  esac
  case $source in
    engine/calc/steps/*|engine/calc/fb_*|engine/calc/against_light.cpp|engine/calc/posi.cpp|engine/calc/range_checks.cpp|engine/calc/restoration_fbp.cpp|engine/calc/czep.cpp) part=first ;;
    engine/roll/*|engine/film/*|engine/graybalance/*|engine/adaptive/negative/*|engine/calc/*) part=second ;;
    engine/page/*|engine/zep3_page.cpp) part=second ;;
    engine/zep3_roll.cpp|engine/zep3_graybalance.cpp|engine/zep3_check.cpp) part=second ;;
    *) part=first ;;
  esac
  printf '%s\t%s\t%s\t%s\n' "$object" "$source" "$size" "$part"
done >"$out/list"

# One line a source, two at a time: what is newer than its object or follows a header or this file.
newest=$(find engine web/engine \( -name '*.h' -o -name build.sh \) -newer "$out/stamp" 2>/dev/null | head -n 1 || true)
[ -f "$out/stamp" ] && [ -z "$newest" ] || rm -f "$out"/*.o
while read -r object source size _; do
  [ "$object" -nt "$source" ] || printf '%s %s %s\n' "$source" "$object" "$size"
done <"$out/list" | xargs -r -n 3 -P 2 sh -c 'em++ '"$flags"' "$2" -c "$0" -o "$1"'
touch "$out/stamp"

# Linked without inlining, which would draw functions of one part into the other; each part is made small afterwards.
# shellcheck disable=SC2046
em++ -O1 -sMALLOC=emmalloc -sSTANDALONE_WASM --no-entry -sALLOW_MEMORY_GROWTH -sMAXIMUM_MEMORY=4GB \
  --profiling-funcs -Wl,--no-demangle,-O2 $(cut -f 1 "$out/list") -o "$out/whole.wasm"

# The second part: what only its sources define, loops over pixels of 16 bits, means of scans that are made smaller by
# more than eight (of some 9,000 pixels a line), a page's call, and arithmetic of film.
functions() { awk -v part="$1" '$4 ~ part { print $1 }' "$out/list" | xargs emnm --defined-only -P | awk '$2 ~ /[tTwW]/ { print $1 }' | sort -u; }
functions first >"$out/first"
{
  functions second | comm -23 - "$out/first"
  functions . | grep -E '(BoxMeans|BlockDetail|ApplyPlain|ApplyWithChroma|GrayMeans)It' || true
  functions . | grep -E 'BlockMeans3AddEPKt|AddLinesInStep.*Li8E|AnalysePage' || true
  printf '%s\n' __rem_pio2 __rem_pio2_large expm1 atan
} >"$out/second"
features="--enable-mutable-globals --enable-sign-ext"
# shellcheck disable=SC2086
wasm-split $features --split-funcs="@$out/second" --export-prefix=% --import-namespace=first --placeholder-namespace=p \
  "$out/whole.wasm" -o1 "$out/first.wasm" -o2 "$out/second.wasm" 2>"$out/split.log" || { cat "$out/split.log" >&2; exit 1; }
small() {
  # shellcheck disable=SC2086
  wasm-opt $features -Oz --converge --strip-debug --strip-producers "$1" -o "$2"
  echo "$2: $(wc -c <"$2") bytes"
}
small "$out/first.wasm" "$out/zep3.wasm"
small "$out/second.wasm" "$out/zep3-more.wasm"
