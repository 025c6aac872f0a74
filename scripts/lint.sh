#!/bin/sh
# Formatting is the tool's business: fails where a source is not as clang-format leaves it. Then the tests that the
# documentation names are looked for.
set -eu
cd "$(dirname "$0")/.."
find bench engine examples fuzz python tools tests \( -name '*.h' -o -name '*.c' -o -name '*.cpp' \) -exec clang-format --dry-run -Werror {} +
python3 scripts/test_names.py
