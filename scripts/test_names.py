#!/usr/bin/env python3
"""Fails where the documentation names a test that is not there.

Names are words in backticks: Suite.Name and Suite.* of GoogleTest, and fuzz_target of fuzz/.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Suites begin with a capital letter, as fields of records and files do not.
NAME = re.compile(r"`([A-Z]\w+\.(?:[A-Z]\w+\.*|\*)|fuzz_\w+)`")


def main() -> int:
    tests = set()
    for source in (ROOT / "tests").rglob("*.cpp"):
        tests.update(".".join(test) for test in re.findall(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", source.read_text(), re.M))
    tests.update(f"fuzz_{corpus.stem}" for corpus in (ROOT / "fuzz" / "corpus").glob("*.txt"))
    suites = {test.split(".")[0] for test in tests}
    missing = 0
    for page in [*sorted(ROOT.glob("*.md")), *sorted((ROOT / "docs").glob("*.md"))]:
        for number, line in enumerate(page.read_text().splitlines(), 1):
            for name in NAME.findall(line):
                there = name[:-2] in suites if name.endswith(".*") else name in tests
                if not there:
                    print(f"{page.relative_to(ROOT)}:{number}: no test {name}")
                    missing += 1
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
