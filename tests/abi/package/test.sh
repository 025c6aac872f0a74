#!/bin/sh
# Installs the build, and has callers outside of the tree find it by CMake and by pkg-config, shared and static; then
# again after the installation moved. Usage: test.sh CMAKE BUILD SOURCE WORK CC CXX
set -eu
cmake=$1 build=$2 source=$3 work=$4 cc=$5 cxx=$6
rm -rf "$work"
mkdir -p "$work"
cp "$source/consumer.c" "$source/consumer.cpp" "$source/package/CMakeLists.txt" "$work"
cd "$work"

# quietly LOG COMMAND...: shows the log of what fails.
quietly() {
  log=$1
  shift
  "$@" >"$log" 2>&1 || { printf 'failed: %s\n' "$*"; cat "$log"; exit 1; }
}

# run LIBRARY-FOLDER PROGRAM SHARED: runs it, and looks whether it uses the shared library as it should.
run() {
  quietly run.log env LD_LIBRARY_PATH="$1" "$2"
  used=no
  if readelf -d "$2" | grep -q 'NEEDED.*libzep3\.so'; then used=yes; fi
  [ $used = "$3" ] || { echo "$2: shared library used: $used"; exit 1; }
}

check() {
  prefix=$1
  config=$(find "$prefix" -name zep3.pc)
  lib=$(dirname "$(dirname "$config")")

  # Each language by itself: a project with both links C with the C++ compiler, which hides what a C link lacks.
  for language in C CXX; do
    rm -rf found
    quietly cmake.log "$cmake" -G Ninja -S . -B found -DLANGUAGE=$language -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx"
    quietly cmake.log "$cmake" --build found
    run '' found/zep3_consumer yes
    run '' found/zep3_static_consumer no
  done

  export PKG_CONFIG_PATH="$lib/pkgconfig"
  header=$(pkg-config --variable=includedir zep3)/zep3.h
  shared=$(pkg-config --cflags --libs zep3)
  # pkg-config knows no archives: the library's own name is taken for one, the rest stays.
  static=$(pkg-config --cflags --libs --static zep3 | sed 's/-lzep3/-l:libzep3.a/')
  strict="-pedantic -Wall -Wextra -Werror"
  # Flags are words apart.
  # shellcheck disable=SC2086
  for kind in shared static; do
    flags=$shared used=yes
    [ $kind = shared ] || flags=$static used=no
    quietly c.log "$cc" ${CFLAGS:-} -std=c11 $strict -o $kind-c consumer.c $flags
    quietly cpp.log "$cxx" ${CXXFLAGS:-} -std=c++17 $strict -o $kind-cpp consumer.cpp $flags
    run "$lib" ./$kind-c $used
    run "$lib" ./$kind-cpp $used
  done
  # shellcheck disable=SC2086
  quietly header.log "$cc" -std=c99 $strict -fsyntax-only -x c "$header"
  # shellcheck disable=SC2086
  quietly header.log "$cxx" -std=c++11 $strict -fsyntax-only -x c++ "$header"
}

quietly install.log "$cmake" --install "$build" --prefix "$work/first place"
mv "$work/first place" "$work/installed"
check "$work/installed"
mv "$work/installed" "$work/moved"
check "$work/moved"
