#!/bin/sh
# Sets up, builds, and runs the driver on the sample scans: as a photo, in the two document-like modes, and as gray.
# Shows every 17th entry of the three tables; the whole tables and the corrected pictures go to build/demo.
set -eu
cd "$(dirname "$0")/.."

sh scripts/setup.sh
[ -f build/release/CMakeCache.txt ] || cmake --preset release >/dev/null
cmake --build --preset release --target zep3_driver >/dev/null
out=build/demo
mkdir -p $out

# Runs the driver on a picture and shows what it found: TITLE PICTURE GRAY MODE NAME.
# Display gamma 1.8 is the engine's own: the tables then take and give the picture's encoding, whatever it is.
run() {
  title=$1 picture=$2 gray=$3 mode=$4 name=$5
  width=$(vipsheader -f width "$picture")
  height=$(vipsheader -f height "$picture")
  input=$picture
  if [ "$gray" = 1 ]; then
    input=$out/$name.v
    vips colourspace "$picture" "$input" b-w
  fi
  vips rawsave "$input" $out/$name.raw
  build/release/zep3_driver 0 0 18 "$width" "$height" "$gray" "$mode" $out/$name.raw >$out/$name.txt

  # The tables as a 256 x 1 picture, which any program with a look-up command can apply.
  awk -F, '{ for (i = 1; i <= 256; i++) v[NR, i] = $i }
    END { print "P3 256 1 255"; for (i = 1; i <= 256; i++) print v[1, i], v[2, i], v[3, i] }' \
    $out/$name.txt >$out/$name.ppm
  vips maplut "$input" $out/$name.png $out/$name.ppm
  rm -f $out/$name.raw $out/$name.v

  printf '\n%s: %s, %s x %s\n' "$title" "$picture" "$width" "$height"
  awk -F, 'BEGIN { split("red green blue", names, " ")
      printf "  %-6s", "level"; for (i = 0; i < 256; i += 17) printf "%5d", i; print "" }
    { printf "  %-6s", names[NR]; for (i = 0; i < 256; i += 17) printf "%5d", $(i + 1); print "" }' $out/$name.txt
}

run "Photo" samples/plate.jpg 0 2 photo
run "Background removal" samples/breviary.jpg 0 0 background
run "Ground-colour removal" samples/breviary.jpg 0 1 ground-colour
run "Gray photo" samples/plate.jpg 1 2 gray
printf '\nWhole tables: %s/*.txt; corrected pictures: %s/*.png\n' $out $out
