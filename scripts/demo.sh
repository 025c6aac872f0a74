#!/bin/sh
# Sets up, builds, and finishes the sample scans with a report of each, which shows it before and after.
set -eu
cd "$(dirname "$0")/.."

sh scripts/setup.sh
[ -f build/release/CMakeCache.txt ] || cmake --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ >/dev/null
cmake --build --preset release --target zep3_program >/dev/null
zep3=build/release/zep3
out=build/demo

# finish KIND SCAN RESULT OPTIONS...
finish() {
  kind=$1 scan=$2 result=$out/$3
  shift 3
  $zep3 --kind "$kind" "$scan" --output "$result" --overwrite --report --sidecar "$@"
  printf '  %-14s %-28s %s.zep3.html\n' "$kind" "$scan" "$result"
}

printf 'Kind           Scan                         Before and after\n'
finish faded-slide samples/slide-faded.jpg slide-faded.jpg
finish faded-print samples/print-faded.jpg print-faded.jpg
finish negative samples/negative-colour.jpg negative-colour.jpg
finish bw-negative samples/negative-bw.jpg negative-bw.jpg
finish negative samples/strip.jpg strip.jpg --crop
finish document samples/plate.jpg plate.jpg
finish background samples/breviary.jpg breviary.jpg
finish ground-color samples/breviary.jpg breviary-neutral.jpg
$zep3 --roll --kind negative samples/roll --output $out/roll --overwrite --quiet
printf '  %-14s %-28s %s\n' 'negative' 'samples/roll, together' $out/roll/roll.zep3.html
printf '\nOpen %s/slide-faded.jpg.zep3.html in a browser to see the first one.\n' "$out"
