#!/bin/sh
# Formatting is the tool's business: fails where a source is not as clang-format leaves it.
set -eu
cd "$(dirname "$0")/.."
find bench engine examples fuzz tools tests \( -name '*.h' -o -name '*.c' -o -name '*.cpp' \) -exec clang-format --dry-run -Werror {} +
