#!/bin/sh
# The library on a machine with nothing but a compiler and CMake: configured without any package in sight, built,
# installed and called. Fails as soon as the library alone asks for one.
set -eu
cd "$(dirname "$0")/.."

out=build/bare
rm -rf $out
mkdir -p $out/nothing
# Packages, headers and libraries are looked for in an empty folder alone; the compiler finds its own as ever.
hidden="-DCMAKE_FIND_ROOT_PATH=$PWD/$out/nothing"
for mode in PACKAGE INCLUDE LIBRARY; do hidden="$hidden -DCMAKE_FIND_ROOT_PATH_MODE_$mode=ONLY"; done
export PKG_CONFIG_LIBDIR="$PWD/$out/nothing"

# configure FOLDER OPTIONS...
configure() {
  folder=$1
  shift
  # Each option is a word, and no folder of it has a blank.
  # shellcheck disable=SC2086
  cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZEP3_WERROR=ON $hidden "$@" >"$out/cmake.log" 2>&1
}

if configure $out/program -DZEP3_BUILD_TESTS=OFF; then
  echo 'the program was configured without libvips: packages are not hidden'
  exit 1
fi
configure $out/library -DZEP3_BUILD_TOOLS=OFF || { cat $out/cmake.log; exit 1; }
cmake --build $out/library >$out/build.log || { cat $out/build.log; exit 1; }
cmake --install $out/library --prefix $out/installed >/dev/null
compiler=$(sed -n 's/^CMAKE_C_COMPILER:[A-Z]*=//p' $out/library/CMakeCache.txt)
library=$(find $out/installed -name libzep3.so)
"$compiler" -std=c11 -I $out/installed/include -o $out/consumer tests/abi/consumer.c "$library"
LD_LIBRARY_PATH=$(dirname "$library") $out/consumer
echo 'the library: built, installed and called without any package'
