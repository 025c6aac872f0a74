#!/bin/sh
# Scans a picture with the simulated scanner of SANE, without a scanner and without a change to the system.
# Usage: simulated_scanner.sh [--backend] PICTURE KIND RESULT.tif
#   --backend  by scanimage, with the backend in front of the scanner, in place of zep3 scan
set -eu
backend=no
[ "${1:-}" != --backend ] || { backend=yes; shift; }
[ $# = 3 ] || { echo "usage: simulated_scanner.sh [--backend] PICTURE KIND RESULT.tif" >&2; exit 2; }

root=$(cd "$(dirname "$0")/.." && pwd)
build=${ZEP3_BUILD:-$root/build/release}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
vips copy "$1" "$folder/original.ppm"
printf 'pnm\nzep3\n' >"$folder/dll.conf"
export SANE_CONFIG_DIR="$folder" LD_LIBRARY_PATH="$build/sane"
if [ "$backend" = yes ]; then
  timeout -k 1 60 scanimage -d zep3:pnm:0 --filename "$folder/original.ppm" --zep3-kind "$2" --format=tiff >"$3"
else
  timeout -k 1 60 "$build/zep3" scan -d pnm:0 --set filename="$folder/original.ppm" -k "$2" -o "$3" --overwrite -v
fi
echo "see $3"
