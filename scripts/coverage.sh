#!/bin/sh
# Lines and branches of the engine that the tests reach: all of them, or the line says why not (GCOVR_EXCL_...). With
# --program also those of the program, for reading. Branches that only exceptions take are not counted: what happens when
# memory runs out is tested request by request.
set -eu
cd "$(dirname "$0")/.."
build=build/test-coverage
tools=OFF filter="--filter engine/" objects=$build/CMakeFiles/zep3_objects.dir
if [ "${1:-}" = --program ]; then
  tools=ON filter="--filter tools/" objects="$build/CMakeFiles/zep3_program_parts.dir $build/CMakeFiles/zep3_program.dir"
fi

cmake --preset coverage -B "$build" -DZEP3_BUILD_TOOLS="$tools" >/dev/null
cmake --build "$build" >/dev/null
find "$build" -name '*.gcda' -delete
ctest --test-dir "$build" --output-on-failure -j "$(nproc)" >"$build/tests.log" || { cat "$build/tests.log"; exit 1; }

# report OPTIONS...
report() {
  # shellcheck disable=SC2086
  gcovr --root . $filter --exclude-throw-branches --exclude-unreachable-branches "$@" $objects
}
report --html-details "$build/coverage.html" >/dev/null
if [ "$tools" = ON ]; then
  report
  exit
fi
# Of calls with designated initialisers GCC counts the first line as never run: some ten lines.
report --branches --fail-under-line 99.4 --fail-under-branch 100 >"$build/coverage.txt" || {
  cat "$build/coverage.txt"
  report | tail -n +6
  exit 1
}
tail -2 "$build/coverage.txt"
