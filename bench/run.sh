#!/bin/sh
# Builds the benchmark and prints both tables: the engine's calls beside what bounds them and beside other libraries
# (OpenCV, libvips, Little CMS: those whose -dev packages are installed), and the program beside vips copy and
# ImageMagick. Takes about ten minutes, 6 GB of disk and 1 GB of memory; a machine that does nothing else.
set -eu
cd "$(dirname "$0")/.."

sh scripts/setup.sh
cmake --preset release -B build/bench -DZEP3_BUILD_BENCH=ON -DZEP3_BUILD_TESTS=OFF >/dev/null
cmake --build build/bench >/dev/null
build/bench/bench/zep3_bench "$@"
printf '\n'
python3 bench/program.py --zep3 build/bench/zep3 || [ $? = 1 ]
