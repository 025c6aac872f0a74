#!/bin/sh
# The release as a source archive with its checksum, and the Debian packages built from it, twice, in folders of
# different names: equal to the byte. Lintian finds no error and no warning. Then, as root, a bare root gets the packages
# and runs the tests in debian/tests on what is installed there.
#   sh scripts/packages.sh [--quick]   --quick: unoptimised, and without the tests of the build
set -eu
cd "$(dirname "$0")/.."

DEB_BUILD_OPTIONS=parallel=$(nproc)
[ "${1:-}" != --quick ] || DEB_BUILD_OPTIONS="$DEB_BUILD_OPTIONS nocheck noopt"
export DEB_BUILD_OPTIONS

version=$(sed -n 's/^project(zep3 VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
needed=$(sed -n '/^Build-Depends:/,/^[^ B]/p' debian/control | tr -d ',' | sed -n 's/^Build-Depends: \|^ *\([a-z][^ ]*\).*/\1/p' |
  grep -v debhelper-compat)
# shellcheck disable=SC2086
sh scripts/setup.sh debhelper dpkg-dev fakeroot git lintian mmdebstrap xz-utils $needed

out=$PWD/build/packages
rm -rf "$out"
mkdir -p "$out"

# With the page as it is built, so that building the packages needs no network; not with an older one.
page=web/dist/index.html
[ -f "$page" ] && [ -z "$(find engine web/engine web/src web/public web/*.* -newer "$page" -print -quit)" ] ||
  sh scripts/web.sh --build
mkdir "$out/source"
git archive --prefix="zep3-$version/" HEAD -- . ':!debian' | tar -xf - -C "$out/source"
cp -r web/dist "$out/source/zep3-$version/web/"
tar --sort=name --mtime="@$(git log -1 --format=%ct)" --owner=0 --group=0 --numeric-owner -C "$out/source" \
  -cf - "zep3-$version" | xz -9 >"$out/zep3-$version.tar.xz"
rm -rf "$out/source"
(cd "$out" && sha256sum "zep3-$version.tar.xz" | tee "zep3-$version.tar.xz.sha256")

# build FOLDER
build() {
  mkdir -p "$out/$1"
  cp "$out/zep3-$version.tar.xz" "$out/$1/zep3_$version.orig.tar.xz"
  tar -xf "$out/zep3-$version.tar.xz" -C "$out/$1"
  git archive HEAD debian | tar -xf - -C "$out/$1/zep3-$version"
  (cd "$out/$1/zep3-$version" && dpkg-buildpackage -us -uc >"$out/$1.log" 2>&1) || { tail -n 60 "$out/$1.log"; exit 1; }
}
build first
build another-folder
for package in "$out"/first/*.deb "$out"/first/*.debian.tar.xz; do
  cmp "$package" "$out/another-folder/$(basename "$package")"
done
echo "$(find "$out/first" -name '*.deb' | wc -l) packages: the same from two folders"

lintian --allow-root --fail-on error,warning --suppress-tags bad-distribution-in-changes-file "$out"/first/*.changes
echo 'lintian: no error, no warning'

# A root of its own takes the right to mount, which not every container has.
mkdir "$out/mounted"
if ! mount -t proc proc "$out/mounted" 2>/dev/null; then
  echo 'left out: the bare root needs root, and the right to mount'
  exit 0
fi
umount "$out/mounted"
sh scripts/try_packages.sh "$out/first" "$out/root"
