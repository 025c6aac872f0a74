#!/bin/sh
# Same input, same results: the engine by both compilers at every level of optimisation gives the same bits, which the
# fuzz targets sum up in one number; with another math library the golden rows, whose last places state what may move.
set -eu
cd "$(dirname "$0")/.."

out=build/reproduce
mkdir -p $out
for target in analysis calls; do
  g++ -std=c++20 -O1 -I. -Ifuzz -c -o $out/$target.o fuzz/$target.cpp
done
g++ -std=c++20 -O1 -I. -c -o $out/replay.o fuzz/replay.cpp
g++ -std=c++20 -O1 -I. -Itests -DZEP3_GOLDEN_DIR="\"$PWD/tests/golden\"" -c -o $out/golden.o tests/golden/golden_test.cpp

# engine NAME COMPILER FLAGS: the engine, and the targets linked to it. Without a build type, so that the
# flags are all there is.
engine() {
  cxx=g++
  [ "$2" = gcc ] || cxx=clang++
  cmake -G Ninja -S . -B "$out/$1" -DCMAKE_C_COMPILER="$2" -DCMAKE_CXX_COMPILER=$cxx -DCMAKE_CXX_FLAGS="$3" \
    -DCMAKE_BUILD_TYPE= -DZEP3_BUILD_TOOLS=OFF -DZEP3_BUILD_TESTS=OFF >/dev/null
  cmake --build "$out/$1" -j "$(nproc)" --target zep3_static >"$out/$1.log" || { cat "$out/$1.log"; exit 1; }
  for target in analysis calls; do
    g++ -o "$out/$1/$target" $out/$target.o $out/replay.o "$out/$1/libzep3.a"
  done
}

# results NAME: what the targets sum up.
results() {
  "$out/$1/analysis" fuzz/corpus/analysis.txt 5000
  "$out/$1/calls" fuzz/corpus/calls.txt 4000
}

# same WHAT NAME: nothing differs from what the first engine gave.
same() {
  printf '%s\n' "$1"
  results "$2" >$out/this.txt
  diff $out/first.txt $out/this.txt
}

# No fused multiply-add in the engine's own code, though the processor it is built for has them.
unfused() {
  objdump -d --no-show-raw-insn "$out/$1/libzep3.a" >$out/code.txt
  grep -q 'vmulsd' $out/code.txt || { echo "$1: no code for such processors"; exit 1; }
  if grep -E 'vfn?m(add|sub)' $out/code.txt; then echo "$1: multiplies and adds in one"; exit 1; fi
}

echo 'gcc -O2: the first'
engine gcc-O2 gcc -O2
results gcc-O2 | tee $out/first.txt
MALLOC_PERTURB_=165 same 'gcc -O2 again, on memory that holds other values' gcc-O2
for build in 'gcc -O0' 'gcc -O3' 'clang -O0' 'clang -O2' 'clang -O3'; do
  compiler=${build% *} level=${build#* }
  engine "$compiler$level" "$compiler" "$level"
  same "$build" "$compiler$level"
done

fma=no
if grep -q ' avx2 .* fma\| fma .* avx2 ' /proc/cpuinfo; then fma=yes; fi
for compiler in gcc clang; do
  engine "$compiler-v3" $compiler '-O3 -march=x86-64-v3'
  unfused "$compiler-v3"
  if [ $fma = yes ]; then
    same "$compiler -O3 -march=x86-64-v3" "$compiler-v3"
    g++ -o $out/golden-v3 $out/golden.o "$out/$compiler-v3/libzep3.a" -lgtest -lgtest_main
    $out/golden-v3 --gtest_brief=1
  else
    echo "$compiler -O3 -march=x86-64-v3: built, not run: no such processor"
  fi
done

golden="$out/golden.o $out/gcc-O2/libzep3.a -lgtest -lgtest_main"
# glibc takes pow, log10 and others with fused multiply-add where the processor has them.
if [ $fma = yes ]; then
  echo 'gcc -O2, glibc without fused multiply-add'
  # shellcheck disable=SC2086
  g++ -o $out/golden $golden
  GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-AVX2 $out/golden --gtest_brief=1
else
  echo 'glibc without fused multiply-add: this processor has none, so that is what all of the above used'
fi

# musl has no C++ library here: its math functions are linked before glibc's.
musl=/usr/lib/$(uname -m)-linux-musl/libc.a
if [ -f "$musl" ]; then
  libm=$(g++ -print-file-name=libm.so.6)
  nm -D --defined-only "$libm" | sed 's/.* //; s/@.*//' | sort -u >$out/libm.txt
  functions=$(nm -u $out/gcc-O2/libzep3.a | sed -n 's/^ *U //p' | sort -u | comm -12 - $out/libm.txt |
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
  g++ -o $out/golden-musl $out/musl/*.lo $golden
  for f in $functions; do
    nm $out/golden-musl | grep -q " [TW] $f\$" || { echo "$f is not from musl"; exit 1; }
  done
  # shellcheck disable=SC2086
  echo "gcc -O2, math functions of musl ($(echo $functions))"
  $out/golden-musl --gtest_brief=1
else
  echo 'math functions of musl: left out, the package musl-dev is missing'
fi
