#!/bin/sh
# The binary interface, as the debug information of a build tells it, against the reviewed one in tests/abi/zep3.abi.
#   sh scripts/abi.sh           fails on any difference, additions too
#   sh scripts/abi.sh --update  writes down what the sources have; read the difference before committing it
set -eu
cd "$(dirname "$0")/.."

reviewed=tests/abi/zep3.abi
out=build/abi
cmake --preset debug -B $out -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$PWD=." \
  -DZEP3_BUILD_TOOLS=OFF -DZEP3_BUILD_TESTS=OFF >/dev/null
cmake --build $out -j "$(nproc)" --target zep3 >$out/build.log || { cat $out/build.log; exit 1; }

if [ "${1:-}" = --update ]; then
  abidw --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-show-locs \
    --no-elf-needed --no-parameter-names --out-file $reviewed $out/libzep3.so
  exit
fi
if abidiff --harmless --no-show-locs --fail-no-debug-info $reviewed $out/libzep3.so; then
  echo "binary interface: as reviewed"
else
  echo "binary interface: not as reviewed in $reviewed; where that is meant, sh scripts/abi.sh --update"
  exit 1
fi
