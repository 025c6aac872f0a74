#!/bin/sh
# Sets up, builds with GCC and with Clang, runs all tests on both, on a build for processors with fused multiply-add
# (nothing may move), and under AddressSanitizer and UndefinedBehaviorSanitizer; threads under ThreadSanitizer, the fuzz
# targets for some seconds; then the coverage of the engine, the binary interface, and the results by every level of
# optimisation and by other math libraries.
set -eu
cd "$(dirname "$0")/.."

sh scripts/setup.sh
sh scripts/lint.sh

# build NAME PRESET OPTIONS...
build() {
  name=$1 preset=$2
  shift 2
  printf '\n==== %s ====\n' "$name"
  cmake --preset "$preset" -B "build/test-$name" "$@" >/dev/null
  cmake --build "build/test-$name" >"build/test-$name/build.log" || { cat "build/test-$name/build.log"; exit 1; }
}

# check NAME PRESET C-COMPILER C++-COMPILER OPTIONS...
check() {
  name=$1 preset=$2 cc=$3 cxx=$4
  shift 4
  build "$name" "$preset" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" "$@"
  ctest --test-dir "build/test-$name" --output-on-failure --no-tests=error -j "$(nproc)"
}

check gcc release gcc g++ -DZEP3_BUILD_BENCH=ON
printf '\n==== gcc, glibc without fused multiply-add ====\n'
GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-AVX2 build/test-gcc/tests/zep3_tests --gtest_brief=1
printf '\n==== the same build in another folder ====\n'
sh scripts/same_builds.sh build/test-gcc
check clang release clang clang++
if grep -q ' avx2 .* fma\| fma .* avx2 ' /proc/cpuinfo; then
  check gcc-v3 release gcc g++ -DCMAKE_CXX_FLAGS=-march=x86-64-v3
fi
check sanitize sanitize gcc g++

build threads thread -DZEP3_BUILD_TOOLS=OFF
ctest --test-dir build/test-threads --output-on-failure --no-tests=error -R Concurrency

printf '\n==== hostile input ====\n'
python3 scripts/fuzz.py --seconds 10 --seed 1
python3 scripts/fuzz.py --seconds 3 --seed 1 --memory

printf '\n==== coverage of the engine ====\n'
sh scripts/coverage.sh
printf '\n==== binary interface ====\n'
sh scripts/abi.sh
printf '\n==== same results ====\n'
sh scripts/reproduce.sh
