#!/bin/sh
# Installs an optimised build and looks whether what is installed is hardened. Usage: hardened.sh CMAKE BUILD WORK
set -eu
cmake=$1 build=$2 work=$3
rm -rf "$work"
"$cmake" --install "$build" --prefix "$work" >/dev/null
failed=0

# wants yes|no FILE PATTERN WHAT COMMAND...: whether the command's output has lines of the pattern.
wants() {
  wanted=$1 file=$2 pattern=$3 what=$4
  shift 4
  found=no
  if "$@" "$file" | grep -qE "$pattern"; then found=yes; fi
  [ $found = "$wanted" ] || { echo "${file#"$work"/}: $what"; failed=1; }
}

library=$(find "$work" -name 'libzep3.so.*.*')
for file in "$library" "$work"/bin/*; do
  [ -f "$file" ] || continue
  wants yes "$file" GNU_RELRO 'no read-only relocations' readelf -lW
  wants yes "$file" 'BIND_NOW|Flags:.* NOW' 'functions are bound late' readelf -dW
  wants yes "$file" 'Type: +DYN' 'lies at fixed addresses' readelf -hW
  wants no "$file" 'GNU_STACK.* RWE' 'the stack can be executed' readelf -lW
  wants no "$file" 'R(UN)?PATH.*\[[^$]' 'libraries are looked for in a folder of the build' readelf -dW
  wants yes "$file" __stack_chk_fail 'no stack protector' readelf --dyn-syms -W
done
for program in "$work"/bin/*; do
  [ -f "$program" ] || continue
  wants yes "$program" 'FLAGS_1.* PIE' 'no position-independent program' readelf -dW
done
if [ -f "$work/bin/zep3" ]; then
  wants yes "$work/bin/zep3" '__[a-z]+printf_chk' 'no checked functions of the C library' readelf --dyn-syms -W
  wants yes "$work/bin/zep3" __glibcxx_assert_fail 'no checks of indices' readelf --dyn-syms -W
fi

# Landing pads of indirect jumps. That the processor is to insist on them is said by a note, which the linker leaves out
# where the system's start files have none, as Debian's: so the objects are asked.
if readelf -hW "$library" | grep -q X86-64; then
  archive=$(find "$work" -name libzep3.a)
  members=$(ar t "$archive" | wc -l)
  marked=$(readelf -nW "$archive" | grep -c 'IBT, SHSTK' || true)
  [ "$members" = "$marked" ] || { echo "libzep3.a: $marked of $members objects have landing pads"; failed=1; }
  if [ -f "$work/bin/zep3" ]; then
    wants yes "$work/bin/zep3" endbr64 'no landing pads' objdump -d --disassemble=main
  fi
fi
exit $failed
