#!/usr/bin/env python3
"""Compares what tests/abi/results.c and the driver printed on two systems: compare_results.py FOLDER FOLDER

Lists what differs. Status 1 where a table's entry lies more than a step away, or something else than entries and the
pixels they give differs.
"""

import sys
from pathlib import Path

here, there = (sorted(Path(name).iterdir()) for name in sys.argv[1:])
if [file.name for file in here] != [file.name for file in there]:
    sys.exit("other files")
entries = different = lines = pixels = 0
bad = False
for one, other in zip(here, there):
    ours, theirs = one.read_text().splitlines(), other.read_text().splitlines()
    bad |= len(ours) != len(theirs) or not ours
    for a, b in zip(ours, theirs):
        lines += 1
        table = " table " in a
        if table or one.name.startswith("driver"):
            values = [list(map(int, line.split(" table ")[-1].replace(",", " ").split())) for line in (a, b)]
            bad |= len(values[0]) != len(values[1])
            entries += len(values[0])
            for i, (x, y) in enumerate(zip(*values)):
                if x != y:
                    different += 1
                    bad |= abs(x - y) > 1
                    print(f"{one.name} {a.split(' table ')[0] if table else 'driver'}: entry {i} is {y}, here {x}")
        elif a != b:
            pixels += 1
            bad |= " pixels " not in a
            print(f"{one.name}: {b}, here {a}")
print(f"{different} of {entries} entries differ, and {pixels} of {lines} other lines")
sys.exit(bad or entries == 0)
