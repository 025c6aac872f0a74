#!/bin/sh
# Lines of the engine that the tests reach; fails below 95 % of them. With --program those of the program, for reading.
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
ctest --test-dir "$build" -LE once --output-on-failure -j "$(nproc)" >"$build/tests.log" || { cat "$build/tests.log"; exit 1; }

# report OPTIONS...
report() {
  # shellcheck disable=SC2086
  gcovr --root . $filter "$@" $objects
}
report --html-details "$build/coverage.html" >/dev/null
if [ "$tools" = ON ]; then
  report
  exit
fi
report --fail-under-line 95 >"$build/coverage.txt" || { cat "$build/coverage.txt"; exit 1; }
tail -2 "$build/coverage.txt"
