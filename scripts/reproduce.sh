#!/bin/sh
# Same input, same results: the engine by both compilers at every level of optimisation gives the same integers, table
# bytes and doubles; with another math library the same but for what tests/reproduce/results.cpp states.
set -eu
cd "$(dirname "$0")/.."

out=build/reproduce
mkdir -p $out
flags="-std=c++20 -O1 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wdouble-promotion -Werror"
# shellcheck disable=SC2086
g++ $flags -I. -Iengine -Itools/zep3 -c -o $out/results.o tests/reproduce/results.cpp
objects=$out/results.o
for source in driver/driver zep3/record; do
  g++ -std=c++20 -O1 -I. -Itools/driver -c -o "$out/$(basename $source).o" tools/$source.cpp
  objects="$objects $out/$(basename $source).o"
done

# engine NAME C-COMPILER C++-COMPILER FLAGS: the engine, and the program linked to it. Without a build type, so that
# the flags are all there is.
engine() {
  cmake -G Ninja -S . -B "$out/$1" -DCMAKE_C_COMPILER="$2" -DCMAKE_CXX_COMPILER="$3" -DCMAKE_CXX_FLAGS="$4" \
    -DCMAKE_BUILD_TYPE= -DZEP3_BUILD_TOOLS=OFF -DZEP3_BUILD_TESTS=OFF >/dev/null
  cmake --build "$out/$1" -j "$(nproc)" --target zep3_static >"$out/$1.log" || { cat "$out/$1.log"; exit 1; }
  # shellcheck disable=SC2086
  g++ -o "$out/$1/results" $objects "$out/$1/libzep3.a"
}

# same NAME PROGRAM: nothing differs from what the first program gave.
same() {
  printf '%s\n' "$1"
  "$2" write $out/this.bin
  [ -f $out/first.bin ] || cp $out/this.bin $out/first.bin
  "$out/first" compare $out/first.bin $out/this.bin
}

# similar NAME PROGRAM: another math library, so no more than the stated limits.
similar() {
  printf '%s\n' "$1"
  "$2" write $out/this.bin
  "$out/first" compare --other-library $out/first.bin $out/this.bin
}

# No fused multiply-add in the engine's own code, though the processor it is built for has them.
unfused() {
  objdump -d --no-show-raw-insn "$out/$1/libzep3.a" >$out/code.txt
  grep -q 'vmulsd' $out/code.txt || { echo "$1: no code for such processors"; exit 1; }
  if grep -E 'vfn?m(add|sub)' $out/code.txt; then echo "$1: multiplies and adds in one"; exit 1; fi
}

rm -f $out/first.bin
engine gcc-O2 gcc g++ -O2
cp $out/gcc-O2/results $out/first
same 'gcc -O2: the first' $out/first
MALLOC_PERTURB_=165 same 'gcc -O2 again, on memory that holds other values' $out/first
for level in -O0 -O1 -O3; do
  engine gcc$level gcc g++ $level
  same "gcc $level" $out/gcc$level/results
done
for level in -O0 -O1 -O2 -O3; do
  engine clang$level clang clang++ $level
  same "clang $level" $out/clang$level/results
done

fma=no
if grep -q ' avx2 .* fma\| fma .* avx2 ' /proc/cpuinfo; then fma=yes; fi
for level in -O2 -O3; do
  for compiler in gcc clang; do
    cxx=g++
    [ $compiler = gcc ] || cxx=clang++
    engine "$compiler$level-v3" $compiler $cxx "$level -march=x86-64-v3"
    unfused "$compiler$level-v3"
    if [ $fma = yes ]; then
      same "$compiler $level -march=x86-64-v3" "$out/$compiler$level-v3/results"
    else
      echo "$compiler $level -march=x86-64-v3: built, not run: no such processor"
    fi
  done
done

# glibc takes pow, log10 and others with fused multiply-add where the processor has them.
if [ $fma = yes ]; then
  export GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-AVX2
  similar 'gcc -O2, glibc without fused multiply-add' $out/first
  unset GLIBC_TUNABLES
else
  echo 'glibc without fused multiply-add: this processor has none, so that is what all of the above used'
fi

# musl has no C++ library here: its math functions are linked before glibc's.
musl=/usr/lib/$(uname -m)-linux-musl/libc.a
if [ -f "$musl" ]; then
  libm=$(g++ -print-file-name=libm.so.6)
  nm -D --defined-only "$libm" | sed 's/.* //; s/@.*//' | sort -u >$out/libm.txt
  # shellcheck disable=SC2086
  functions=$(nm -u $objects $out/gcc-O2/libzep3.a | sed -n 's/^ *U //p' | sort -u | comm -12 - $out/libm.txt |
    grep -v '^fe[gs]etenv$') # these compute nothing
  rm -rf $out/musl
  mkdir $out/musl
  members=$(ar t "$musl")
  (
    cd $out/musl
    for member in $members; do
      case $member in
        __math_*.lo | __sin.lo | __cos.lo | __rem_pio2*.lo | *_data.lo) ar x "$musl" "$member" ;;
      esac
    done
    for f in $functions; do ar x "$musl" "$f.lo"; done
  )
  # shellcheck disable=SC2086
  g++ -o $out/gcc-O2/results-musl $objects $out/musl/*.lo $out/gcc-O2/libzep3.a
  for f in $functions; do
    nm $out/gcc-O2/results-musl | grep -q " [TW] $f\$" || { echo "$f is not from musl"; exit 1; }
  done
  # shellcheck disable=SC2086
  similar "gcc -O2, math functions of musl ($(echo $functions))" $out/gcc-O2/results-musl
else
  echo 'math functions of musl: left out, the package musl-dev is missing'
fi
