#!/bin/sh
# Sets up, builds, and finishes the sample scans: with the driver as a photo, in the two document-like modes, and as gray;
# with zep3_tables the negatives. Shows every 17th entry of the three tables; the whole tables and the corrected pictures
# go to build/demo.
set -eu
cd "$(dirname "$0")/.."

sh scripts/setup.sh
[ -f build/release/CMakeCache.txt ] || cmake --preset release >/dev/null
cmake --build --preset release --target zep3_driver zep3_tables >/dev/null
out=build/demo
mkdir -p $out

# Applies the tables in NAME.txt to INPUT and shows them: TITLE PICTURE INPUT NAME.
finish() {
  # The tables as a 256 x 1 picture, which any program with a look-up command can apply.
  awk -F, '{ for (i = 1; i <= 256; i++) v[NR, i] = $i }
    END { print "P3 256 1 255"; for (i = 1; i <= 256; i++) print v[1, i], v[2, i], v[3, i] }' \
    "$out/$4.txt" >"$out/$4.ppm"
  vips maplut "$3" "$out/$4.png" "$out/$4.ppm"
  rm -f "$out/$4.raw" "$out/$4.v"

  printf '\n%s: %s, %s x %s\n' "$1" "$2" "$width" "$height"
  awk -F, 'BEGIN { split("red green blue", names, " ")
      printf "  %-6s", "level"; for (i = 0; i < 256; i += 17) printf "%5d", i; print "" }
    { printf "  %-6s", names[NR]; for (i = 0; i < 256; i += 17) printf "%5d", $(i + 1); print "" }' "$out/$4.txt"
}

measure() {
  width=$(vipsheader -f width "$1")
  height=$(vipsheader -f height "$1")
}

# Runs the driver on a picture and shows what it found: TITLE PICTURE GRAY MODE NAME.
# Display gamma 1.8 is the engine's own: the tables then take and give the picture's encoding, whatever it is.
run() {
  input=$2
  measure "$2"
  if [ "$3" = 1 ]; then
    input=$out/$5.v
    vips colourspace "$2" "$input" b-w
  fi
  vips rawsave "$input" "$out/$5.raw"
  build/release/zep3_driver 0 0 18 "$width" "$height" "$3" "$4" "$out/$5.raw" >"$out/$5.txt"
  finish "$1" "$2" "$input" "$5"
}

# The same for a negative, which is scanned at gamma 1.8 and finished for a display gamma of 2.2: TITLE PICTURE KIND NAME.
negative() {
  measure "$2"
  vips colourspace "$2" "$out/$4.v" srgb
  vips rawsave "$out/$4.v" "$out/$4.raw"
  build/release/zep3_tables "$out/$4.raw" "$width" "$height" "$3" >"$out/$4.txt"
  finish "$1" "$2" "$out/$4.v" "$4"
}

run "Photo" samples/plate.jpg 0 2 photo
run "Background removal" samples/breviary.jpg 0 0 background
run "Ground-colour removal" samples/breviary.jpg 0 1 ground-colour
run "Gray photo" samples/plate.jpg 1 2 gray
negative "Colour negative" samples/negative-colour.jpg nega negative-colour
negative "Monochrome negative" samples/negative.jpg negabw negative
printf '\nWhole tables: %s/*.txt; corrected pictures: %s/*.png\n' $out $out
