#!/bin/sh
# What is installed is the same, to the byte, wherever it was built: the optimised build of a folder beside one of a copy
# of the sources under a name of another length.
#   sh scripts/same_builds.sh [BUILD]   BUILD: an optimised build by GCC that is there already
set -eu
cd "$(dirname "$0")/.."

out=build/same
copy=$PWD/$out/a-folder-of-another-length/zep3
rm -rf $out
mkdir -p "$copy"
# Dates, in the man page, are those of the sources.
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(stat -c %Y CHANGELOG.md)}
export SOURCE_DATE_EPOCH CCACHE_DISABLE=1

# build SOURCES FOLDER
build() {
  (
    cd "$1"
    cmake --preset release -B "$2" -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DZEP3_BUILD_TESTS=OFF >/dev/null
    cmake --build "$2" >"$2.log" || { cat "$2.log"; exit 1; }
  )
}

first=${1:-}
if [ -z "$first" ]; then
  first=$PWD/$out/build
  build . "$first"
fi
tar --exclude=./build --exclude=./.git -cf - . | tar -xf - -C "$copy"
build "$copy" "$copy/build"

# Anew: the folder that is there may be of another month.
rm -f "$first/zep3.1"
cmake --build "$first" --target zep3_man >/dev/null
cmake --install "$first" --prefix $out/first >/dev/null
cmake --install "$copy/build" --prefix $out/second >/dev/null
[ -x $out/first/bin/zep3 ] || { echo "$first: no program"; exit 1; }
diff -r $out/first $out/second
if grep -rlF "$PWD" $out/first; then
  echo 'these files name the folder that they were built in'
  exit 1
fi
echo "$(find $out/first -type f | wc -l) installed files: the same from two folders"
