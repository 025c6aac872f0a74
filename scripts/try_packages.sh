#!/bin/sh
# Installs Debian packages in a bare root and runs there the tests in debian/tests. Needs root.
#   sh scripts/try_packages.sh FOLDER-OF-PACKAGES ROOT
set -eu
cd "$(dirname "$0")/.."

packages=$1 root=$2
rm -rf "$root"
. /etc/os-release
mmdebstrap --variant=minbase --mode=root "$VERSION_CODENAME" "$root" >"$root.log" 2>&1 || { cat "$root.log"; exit 1; }
cp -r debian/tests "$root/tests"
mkdir "$root/packages"
cp "$packages"/*.deb "$root/packages/"
(cd "$root/packages" && dpkg-scanpackages --multiversion . >Packages 2>/dev/null)
echo 'deb [trusted=yes] file:/packages ./' >"$root/etc/apt/sources.list.d/zep3.list"

mount -t proc proc "$root/proc"
trap 'umount "$root/proc"' EXIT

# Without standard input, which holds the names of the tests that are still to come, and without the compiler launchers
# of the machine outside, which the root has not.
in_root() {
  chroot "$root" env -u CMAKE_C_COMPILER_LAUNCHER -u CMAKE_CXX_COMPILER_LAUNCHER DEBIAN_FRONTEND=noninteractive \
    LC_ALL=C.UTF-8 TMPDIR=/tmp "$@" </dev/null
}
install() { in_root apt-get install -q -y --no-install-recommends "$@" >"$root.log" 2>&1 || { tail -n 40 "$root.log"; exit 1; }; }
in_root apt-get update -q >"$root.log"

# As each test asks for.
sed -n 's/^Tests: //p' debian/tests/control | while read -r name; do
  needed=$(sed -n "/^Tests: $name\$/,/^\$/s/^Depends: //p" debian/tests/control | tr -d ,)
  # shellcheck disable=SC2086
  install $needed
  in_root "/tests/$name" || { echo "$name failed on what is installed"; exit 1; }
  echo "installed and tried: $name"
done

# All of them come off again, and leave nothing.
in_root sh -c 'dpkg-query -W -f "\${Package}\n" | grep zep3 | xargs apt-get purge -q -y' >"$root.log" 2>&1
rm "$root/etc/apt/sources.list.d/zep3.list"
left=$(find "$root/usr" "$root/etc" -name "*zep3*" | head)
[ -z "$left" ] || { echo "left after the packages were removed: $left"; exit 1; }
umount "$root/proc"
trap - EXIT
rm -rf "$root"
