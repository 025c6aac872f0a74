#!/usr/bin/env python3
"""A second computation of the engine's results, kept apart from the C++ sources so that a slip in one of the
two shows as a difference. It reads the cases of the golden rows in tests/golden and writes the expected values
behind them; with --check it changes nothing and fails where a row differs. The computation is in numeric.py
(arithmetic), histogram.py, calculators.py, negatives.py and tables.py; here are the runs, the reader and the writer.

A case is a comment that says why it is there, `case NAME`, and lines `key value ...`: first its input, then
the expected keys, which begin with `=`. To add a case, write its input and run this program.
`edge KEY ...` names the expected keys behind which a value lies so near to its truncation or rounding
boundary that another mathematical library may land one unit away."""
import os
import sys
from types import SimpleNamespace

sys.dont_write_bytecode = True                # set before the imports: no cache directory in the tree
from calculators import calculate, fixed_defaults, to_display
from histogram import histograms, statistics
from negatives import negative
from numeric import edges
from tables import convert_matrix, gray_balance, make_tables, pipette_gamma


class Record:
    """The fields of a parameter record that a case sets, the rest at their defaults."""

    def __init__(self, f):
        def ints(key, default):
            return [int(v) for v in f.get(key, default).split()]

        self.type, self.sub, self.option = ints("kind", "2 0 2")
        self.negative = self.type in (0, 3)
        self.screen, self.level = ints("screen", "22")[0], ints("level", "4")[0]
        points = ints("points", "-1 " * 15)
        self.points = [points[5 * c:5 * c + 5] for c in range(3)]
        self.curves, self.user = ints("curves", "6 7"), ints("user", "0 0 0 0 0")
        self.tones = [ints(key, "0")[1:] for key in ("master", "red", "green", "blue")]
        self.matrix = [float(v) for v in f["matrix"].split()] if "matrix" in f else None
        self.sat, self.flag, self.master = 0, 0, None


def run_scan(rec, f):
    values = {key: [int(v) for v in f[key].split()] for key in ("image", "seed", "range", "area")}
    area = values["area"]
    image = SimpleNamespace(w=values["image"][0], h=values["image"][1], seed=values["seed"][0],
                            range=values["range"], corners=list(zip(area[0::2], area[1::2])))
    counted = histograms(rec.type, image)
    if counted is None:
        return {"return": [0], "flag": [0]}
    st = statistics(rec.type, *counted)
    if st is None:
        fixed_defaults(rec)
    else:
        calculate(rec, st)
    to_display(rec)
    return proposal(rec)


def run_calculator(rec, f):
    numbers = {key: [float(v) for v in f[key].split()] for key in ("max0", "max1", "max2", "min1", "slopes")}
    calculate(rec, SimpleNamespace(hist=made_histogram(f), range3=float(f["range3"]), **numbers))
    return proposal(rec)


def run_negative(rec, f):
    numbers = {key: [float(v) for v in f[key].split()] for key in ("min0", "min1", "max0", "max1", "nega1", "ave")}
    return proposal(rec) if negative(rec, SimpleNamespace(hist=made_histogram(f), **numbers)) else {"return": [0]}


def made_histogram(f):
    hist = [[0] * 256 for _ in range(3)]
    spans = [int(v) for v in f["hist"].split()]           # channel, lowest and highest level; repeated
    for c, lo, hi in zip(spans[0::3], spans[1::3], spans[2::3]):
        for i in range(lo, hi + 1):
            hist[c][i] = 1 + (i * 7 + c * 13) % 11
    return hist


def proposal(rec):
    out = {"return": [1], "points": sum(rec.points, []), "curves": rec.curves, "saturation": [rec.sat],
           "flag": [rec.flag]}
    if rec.master:
        out["master"] = [5] + rec.master
    return out


def run_tables(rec, f):
    tables = make_tables(rec)
    out = {"return": [1], "points": sum(rec.points, []), "curves": rec.curves, "saturation": [rec.sat]}
    for key, table in zip(("red", "green", "blue"), tables):
        out[key] = ["".join("%02x" % v for v in table)]
    return out


def run_pipette(rec, f):
    if "convert" in f:
        return {"return": [1], "points": sum(rec.points, []), "matrix": convert_matrix(rec)}
    if "gray" in f:
        *rgb, intensity = [int(v) for v in f["gray"].split()]
        gray_balance(rec, rgb, intensity)
    else:
        pipette_gamma(rec, [int(v) for v in f["gamma"].split()])
    return {"return": [1], "points": sum(rec.points, [])}


def expected_lines(run, f):
    edges.clear()
    expected = run(Record(f), f)
    lines = [" ".join(["=" + key] + [v if isinstance(v, str) else repr(v) for v in values])
             for key, values in expected.items()]
    near = [key for key in expected if key in edges]
    return lines + [" ".join(["edge"] + near)] * bool(near)


def computed(text, run):
    """The file's text with the expected lines of every case computed anew."""
    blocks = []
    for block in text.strip().split("\n\n"):
        lines = [line for line in block.split("\n") if not line.startswith(("=", "edge"))]
        f = {}
        for line in lines:
            key, _, value = line.partition(" ")
            if key != "#":
                f[key] = f.get(key, "") + " " + value     # repeated keys go on
        blocks.append("\n".join(lines + expected_lines(run, f) if "case" in f else lines))
    return "\n\n".join(blocks) + "\n"


if __name__ == "__main__":
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tests", "golden")
    different = []
    for name, run in (("scans", run_scan), ("calculators", run_calculator), ("negatives", run_negative),
                      ("tables", run_tables), ("pipette", run_pipette)):
        path = os.path.join(folder, name + ".txt")
        with open(path) as rows:
            old = rows.read()
        new = computed(old, run)
        if new != old and "--check" in sys.argv:
            different.append(name)
        elif new != old:
            with open(path, "w") as rows:
                rows.write(new)
    if different:
        sys.exit("not what the computation gives: " + ", ".join(different))
