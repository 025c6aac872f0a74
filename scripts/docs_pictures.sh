#!/bin/sh
# Makes samples/ and the pictures of docs/ again from photographs in Debian packages, with the program in build/release.
# Usage: docs_pictures.sh [NAME...], for the pictures whose names begin so. Not a part of the tests.
set -eu
cd "$(dirname "$0")/.."

packages=build/pictures
programs="python3-skimage python3-pil gnuplot-nox fonts-dejavu-core dpkg-dev"
photographs="python3-skimage lomiri-wallpapers-16.04"
source=leptonlib

# shellcheck disable=SC2086
sh scripts/setup.sh $programs

if [ ! -f $packages/complete ]; then
  rm -rf $packages
  mkdir -p $packages/lists/partial $packages/sources
  here=$PWD/$packages
  # shellcheck disable=SC2086
  (cd $packages && apt-get download -q $photographs)
  for package in "$packages"/*.deb; do dpkg-deb -x "$package" $packages; done
  # The machine's own places of packages, for sources, in lists of their own: nothing of the system changes.
  for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
    [ -f "$list" ] || continue
    sed 's/^deb /deb-src /; s/^Types:.*/Types: deb-src/' "$list" >"$packages/sources/${list##*/}"
  done
  apt="-o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts=$here/sources -o Dir::State::Lists=$here/lists"
  # shellcheck disable=SC2086
  apt-get $apt update -q
  # shellcheck disable=SC2086
  (cd $packages && apt-get $apt source -q --download-only $source)
  tar xf $packages/${source}_*.orig.tar.* -C $packages --wildcards --strip-components 1 '*/prog/*.jpg'
  touch $packages/complete
fi

cmake --preset release >/dev/null
cmake --build --preset release --target zep3_program >/dev/null
# Debian's Python: the packages above are its.
/usr/bin/python3 scripts/docs_pictures/pictures.py build/release/zep3 $packages "$@"
