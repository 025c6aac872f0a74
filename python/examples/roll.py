"""The frames of a roll of film finished together: python3 roll.py KIND FOLDER SCAN...

Two passes by several threads; Python's lock is released while the library works.
"""

import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
from PIL import Image

import zep3

kind, folder, names = sys.argv[1], Path(sys.argv[2]), [Path(name) for name in sys.argv[3:]]
roll = zep3.Roll(kind)


def observe(name):
    return roll.observe(np.asarray(Image.open(name)))


def finish(name):
    scan = np.asarray(Image.open(name))
    correction = roll.analyse(scan)
    Image.fromarray(zep3.apply(correction, scan)).save(folder / f"{name.stem}.png")
    return f"{name.name}: {correction.member.value}, {correction.verdict.value}"


with ThreadPoolExecutor() as pool:
    list(pool.map(observe, names))
    roll.solve()
    for told in pool.map(finish, names):
        print(told)
