#!/bin/sh
# Sets up, builds with GCC, and with Clang under AddressSanitizer and UndefinedBehaviorSanitizer, and runs all tests on
# both; threads under ThreadSanitizer, the fuzz targets for some seconds; the library with every package hidden; then
# the coverage of the engine, the binary interface, and the results by levels of optimisation, by processors with fused
# multiply-add and by other math libraries. Between them the page in the browser, Debian packages, and the engine on other
# systems. Tests labelled `once` run with GCC alone. Each heading says how many minutes have passed.
set -eu
cd "$(dirname "$0")/.."

sh scripts/setup.sh
sh scripts/lint.sh

start=$(date +%s)
heading() { printf '\n==== %s (%d min) ====\n' "$1" $((($(date +%s) - start) / 60)); }

# build NAME PRESET OPTIONS...
build() {
  heading "$1"
  folder=build/test-$1 preset=$2
  [ "$1" != gcc ] || folder=build/release # which scripts/demo.sh has begun
  shift 2
  cmake --preset "$preset" -B "$folder" "$@" >/dev/null
  cmake --build "$folder" >"$folder/build.log" || { cat "$folder/build.log"; exit 1; }
}

# Tests labelled so are left out.
without=nothing

# check NAME PRESET OPTIONS...
check() {
  build "$@"
  ctest --test-dir "$folder" --output-on-failure --no-tests=error -j "$(nproc)" -LE "$without"
}

check gcc release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DZEP3_BUILD_BENCH=ON -DZEP3_BUILD_PYTHON=ON -DPython_EXECUTABLE=/usr/bin/python3
without=once
heading 'gcc, glibc without fused multiply-add'
GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-AVX2 build/release/tests/zep3_tests --gtest_brief=1
heading "an archive's week"
/usr/bin/python3 scripts/archive_trial.py --files 300 --browser
heading 'several machines'
if [ "$(id -u)" = 0 ]; then python3 scripts/many_machines.py; else echo 'left out: the daemons of Slurm need root'; fi
heading 'the page in the browser'
sh scripts/web.sh

# Beside all that follows, since they wait for downloads and emulators; what they say is shown at the end.
{ sh scripts/packages.sh --quick && sh scripts/other_systems.sh --quick; } >build/beside.log 2>&1 &
beside=$!
trap 'kill $beside 2>/dev/null || true' EXIT

check sanitize sanitize

build threads thread -DZEP3_BUILD_TOOLS=OFF -DZEP3_BUILD_REPLAYS=OFF
ctest --test-dir build/test-threads --output-on-failure --no-tests=error -R Concurrency

heading 'hostile input'
python3 scripts/fuzz.py --seconds 6 --seed 1
python3 scripts/fuzz.py --seconds 2 --seed 1 --memory

heading 'the library alone'
sh scripts/bare.sh
heading 'coverage of the engine'
sh scripts/coverage.sh
heading 'binary interface'
sh scripts/abi.sh
heading 'same results'
sh scripts/reproduce.sh

heading 'packages, and other systems'
status=0
wait $beside || status=$?
cat build/beside.log
[ $status = 0 ]
heading 'all passed'
