#!/bin/sh
# The engine on other systems: ARM and a machine with the high byte first, under QEMU, and Windows, under Wine. For each
# the library, the driver and the examples are cross-built, the engine's tests run with all golden rows, and what the
# library makes of samples is compared with what it makes of them here. Fails where a test does, where a table's entry
# lies more than a step away, or where the DLL exports other calls than cmake/zep3.map lists.
#   sh scripts/other_systems.sh [--quick] [SYSTEM...]   aarch64-linux-gnu s390x-linux-gnu x86_64-w64-mingw32
#   --quick: under QEMU the golden rows alone, of the engine's tests
set -eu
cd "$(dirname "$0")/.."

some='*'
if [ "${1:-}" = --quick ]; then
  some='Golden*'
  shift
fi
systems=${*:-aarch64-linux-gnu s390x-linux-gnu x86_64-w64-mingw32}
sh scripts/setup.sh g++ cmake ninja-build googletest libvips-tools python3 qemu-user binutils \
  g++-aarch64-linux-gnu g++-s390x-linux-gnu g++-mingw-w64-x86-64-posix wine wine64

out=$PWD/build/other
mkdir -p "$out/scans"
jobs=$(nproc)
samples='slide-faded negative-colour negative-bw breviary'
for name in $samples; do
  [ -s "$out/scans/$name.raw" ] || vips rawsave "samples/$name.jpg" "$out/scans/$name.raw"
done

# Results do not depend on the level of optimisation (scripts/reproduce.sh); -O1 is quickly built.
flags='-O1 -ffp-contract=off'

# library SYSTEM OPTIONS...
library() {
  system=$1
  shift
  cmake -G Ninja -S . -B "$out/$system" -DCMAKE_BUILD_TYPE= -DCMAKE_C_FLAGS=-O1 -DCMAKE_CXX_FLAGS=-O1 \
    -DZEP3_WERROR=ON -DZEP3_BUILD_TOOLS=OFF -DZEP3_BUILD_TESTS=OFF "$@" >"$out/$system.log" &&
    cmake --build "$out/$system" -j "$jobs" >>"$out/$system.log" || { cat "$out/$system.log"; exit 1; }
}

# programs SYSTEM C-COMPILER C++-COMPILER END: driver, examples and tests/abi/results.c.
programs() {
  static=$(find "$out/$1" -maxdepth 1 -name '*.a' ! -name '*.dll.a')
  for example in describe finish roll tables; do
    "$2" $flags -Iengine -c -o "$out/$1/$example.o" examples/$example.c
    "$3" $link -o "$out/$1/$example$4" "$out/$1/$example.o" "$static"
  done
  "$2" $flags -Iengine -c -o "$out/$1/makes.o" tests/abi/results.c
  "$3" $link -o "$out/$1/makes$4" "$out/$1/makes.o" "$static"
  "$3" -std=c++20 $flags $link -I. -Iengine -Itools/driver -o "$out/$1/driver$4" tools/driver/*.cpp "$static"
}

# results FOLDER END RUN...: in FOLDER/results.
results() {
  at=$1 end=$2
  shift 2
  rm -rf "$at/results"
  mkdir "$at/results"
  for name in $samples; do
    width=$(vipsheader -f width "samples/$name.jpg") height=$(vipsheader -f height "samples/$name.jpg")
    (
      cd "$out/scans"
      "$@" "$at/makes$end" "$width" "$height" "$name.raw"
    ) | tr -d '\r' >"$at/results/$name" &
    [ "$name" != negative-colour ] || wait
  done
  wait
  for mode in 0 1 2; do
    (cd "$out/scans" && "$@" "$at/driver$end" 0 0 22 575 900 0 $mode breviary.raw) | tr -d '\r' >"$at/results/driver-$mode"
  done
  "$@" "$at/describe$end" | tr -d '\r' | diff - docs/evidence.md
}

printf '==== this machine ====\n'
link=
library native
programs native gcc g++ ''
results "$out/native" ''

for system in $systems; do
  printf '==== %s ====\n' "$system"
  end='' link=-static skipped=nothing
  case $system in
    aarch64-*) set -- qemu-aarch64 ;;
    s390x-*) set -- qemu-s390x ;;
    *)
      set -- wine
      end=.exe
      export WINEPREFIX="$out/wine" WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= DISPLAY=
      # These two files of tests guard memory with calls that Windows does not have.
      skipped='image/sampling_test.cpp\|lut/apply_test.cpp'
      ;;
  esac
  posix=''
  [ -z "$end" ] || posix=-posix
  library "$system" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/$system.cmake"
  programs "$system" "$system-gcc$posix" "$system-g++$posix" "$end"
  if [ -n "$end" ]; then
    "$system-objdump" -p "$out/$system/libzep3.dll" | sed -n '/^\[Ordinal\/Name Pointer\]/,/^$/s/.* //p' |
      grep -v 'Table$' | sort >"$out/$system/exports"
    sed -n 's/^    \([A-Za-z0-9]*\);$/\1/p' cmake/zep3.map | sort | diff - "$out/$system/exports"
    echo "$(wc -l <"$out/$system/exports") calls exported, and nothing else"
    wine wineboot -i >/dev/null 2>&1
  fi

  # GoogleTest and the engine's tests, a file a process.
  gtest=/usr/src/googletest/googletest
  files=$(sed -n '/^add_executable(zep3_tests$/,/^)/s/^  \(.*_test\.cpp\)$/tests\/\1/p' tests/CMakeLists.txt | grep -v "$skipped")
  mkdir -p "$out/$system/tests"
  for file in $gtest/src/gtest-all.cc $gtest/src/gtest_main.cc $files; do
    echo "$file $out/$system/tests/$(echo "$file" | tr / _).o"
  done | xargs -P "$jobs" -n 2 sh -c '"$0" -std=c++20 -O0 -I. -Itests -Iengine -I'$gtest' -I'$gtest'/include \
    -DZEP3_GOLDEN_DIR="\"'"$PWD"'/tests/golden\"" -c -o "$2" "$1"' "$system-g++$posix"
  "$system-g++$posix" -static -o "$out/$system/engine_tests$end" "$out/$system"/tests/*.o \
    "$(find "$out/$system" -maxdepth 1 -name '*.a' ! -name '*.dll.a')"
  filter=$some
  [ -z "$end" ] || filter='*' # Wine runs them as fast as here
  "$@" "$out/$system/engine_tests$end" --gtest_brief=1 --gtest_filter="$filter"
  results "$out/$system" "$end" "$@"
  python3 scripts/compare_results.py "$out/native/results" "$out/$system/results"
done
