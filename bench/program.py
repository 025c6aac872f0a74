#!/usr/bin/env python3
"""Measures what the program promises: peak memory on a very large scan, time of a whole run against `vips copy`
with the same options of the saver and against ImageMagick's -normalize, many scans in one run against one run for each
and by two workers, and what it costs to wait for the disk.

Prints a Markdown table. Exit status: 0; 1 when a limit is exceeded or a run failed; 2 when a tool or space is missing.
The two sides of a ratio run in turn, so that other work on the machine reaches both; a row has the median of the
ratios and their range. Scans and results are in the system's cache: no figure waits for the disk, which would bring
the ratios nearer to 1, but those that say so. Seconds are wall time; CPU is user and system time; 1 MB is 1,000,000 bytes."""
import argparse
import contextlib
import json
import os
import shutil
import sys
import tempfile
import time
from pathlib import Path
from statistics import median
from struct import unpack_from
from typing import NamedTuple

REPOSITORY = Path(__file__).resolve().parent.parent
MB = 1_000_000
PATCH = 2500                                       # side of the patch that all scans repeat, in pixels
MEMORY_LIMIT, TIME_LIMIT, BATCH_LIMIT = 256, 1.3, 0.2   # MB, ratio, ratio
WORKERS_LIMIT, PEER_CPU_LIMIT, PEER_MEMORY_LIMIT = 1 / 1.7, 1 / 4, 1 / 5   # ratios
PHOTO = "Q=95"                                     # finished photographs
PLAIN = "compression=none,tile-height=128"         # tile-height is rows a strip when there are no tiles
STRIPS = "predictor=horizontal,tile-height=128"
TILES = "predictor=horizontal,tile,tile-width=256,tile-height=256"
OURS = ["-k", "photo", "--quiet", "--no-sync"]                    # the others do not wait for the disk either
LOG = "messages.txt"                               # what the last program said


class Failed(Exception):
    """A run that failed or a result that is not what it should be: there is no measurement."""


class Missing(Exception):
    """A tool or the space on the disk."""


class Sample(NamedTuple):
    wall: float                                    # s
    cpu: float                                     # s
    peak: float                                    # MB


class Scan(NamedTuple):
    """An input: its size, bits a channel, options of the saver (of its format, for scan and result alike)."""
    name: str
    width: int
    height: int
    bits: int
    options: str

    def header(self) -> str:
        return f"{self.width}x{self.height} {'uchar' if self.bits == 8 else 'ushort'}, 3 bands"


class Trial(NamedTuple):
    """Commands that are measured as one, and the scan that each of their results must be like."""
    commands: list[list[str]]
    results: dict[str, Scan]


def run(command: list[str]) -> Sample:
    """Runs one program. The peak is ru_maxrss of wait4: the resident maximum, mapped files included, of the program
    or of the largest process that it waited for. The kernel counts in what the parent held at the start, so that it is
    never below this script's own (about 20 MB)."""
    log = [(os.POSIX_SPAWN_OPEN, 1, LOG, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644), (os.POSIX_SPAWN_DUP2, 1, 2)]
    start = time.perf_counter()
    _, status, used = os.wait4(os.posix_spawnp(command[0], command, os.environ, file_actions=log), 0)
    wall = time.perf_counter() - start
    if status:
        words = " ".join([Path(command[0]).name, *command[1:8]])
        raise Failed(f"{words}: status {os.waitstatus_to_exitcode(status)}\n{Path(LOG).read_text(errors='replace')}")
    return Sample(wall, used.ru_utime + used.ru_stime, used.ru_maxrss * 1024 / MB)


def says(command: list[str]) -> list[str]:
    run(command)
    return Path(LOG).read_text().splitlines()


def layout(name: str) -> dict[int, int]:
    """Compression, rows a strip, planes, predictor and tile size of a TIFF, by the numbers of their tags."""
    with open(name, "rb") as file:
        head = file.read(16)
        e = "<" if head[:2] == b"II" else ">"
        big = unpack_from(e + "H", head, 2)[0] == 43
        file.seek(unpack_from(e + "Q", head, 8)[0] if big else unpack_from(e + "I", head, 4)[0])
        count = unpack_from(e + "Q", file.read(8))[0] if big else unpack_from(e + "H", file.read(2))[0]
        size = 20 if big else 12
        entries = file.read(count * size)
    found = {284: 1, 317: 1}
    for at in range(0, count * size, size):
        tag, kind = unpack_from(e + "HH", entries, at)
        if tag in (259, 278, 284, 317, 322, 323):
            found[tag] = unpack_from(e + ("H" if kind == 3 else "I"), entries, at + (12 if big else 8))[0]
    return found


def check(results: dict[str, Scan]) -> None:
    """A ratio counts only if all results are there, with the scan's size and depth, stored in the scan's way."""
    lost = [name for name in results if not os.path.isfile(name)]
    if lost:
        raise Failed(f"{len(lost)} results are missing, the first is {lost[0]}")
    for (name, scan), line in zip(results.items(), says(["vipsheader", *results]), strict=True):
        if not line.startswith(f"{name}: {scan.header()}"):
            raise Failed(f"{line}: not as the scan, {scan.header()}")
        if name.endswith(".tif") and layout(name) != layout(scan.name):
            raise Failed(f"{name}: stored as {layout(name)}, the scan as {layout(scan.name)}")


def measure(trial: Trial, through: bool = False) -> Sample:
    """Runs a trial on a quiet disk; its results are deleted behind it, so that no run pays for replacing files.
    `through` reads the first result to its end, which the header alone does not vouch for."""
    os.sync()
    samples = [run(command) for command in trial.commands]
    check(trial.results)
    if through:
        run(["vips", "avg", f"{next(iter(trial.results))}[access=sequential,fail_on=error]"])
    for name in trial.results:
        os.remove(name)
    return Sample(sum(s.wall for s in samples), sum(s.cpu for s in samples), max(s.peak for s in samples))


def in_turn(trials: dict[str, Trial], rounds: int) -> dict[str, list[Sample]]:
    """Samples of all trials, A B A B ...; a first round, which reads programs and scans into memory, is not counted."""
    taken: dict[str, list[Sample]] = {name: [] for name in trials}
    for number in range(rounds + 1):
        for name, trial in trials.items():
            sample = measure(trial, through=number == 0)
            if number:
                taken[name].append(sample)
    return taken


class Table:
    """Writes the rows as they are measured and remembers whether all limits held."""

    def __init__(self, quick: bool, facts: str):
        self.quick, self.held, self.samples = quick, True, {"machine": facts, "quick": quick}
        print(f"{facts}{'; QUICK: smaller scans, no limits checked' if quick else ''}\n")
        print("| Measured | A | B | A / B, wall | A / B, CPU | Limit | Held |\n" + "|---" * 7 + "|", flush=True)

    def row(self, cells: list[str], value: float, limit: float | None, unit: str = "") -> None:
        checked = limit is not None and not self.quick
        self.held &= not checked or value <= limit
        held = ("yes" if value <= limit else "**NO**") if checked else "-"
        print("| " + " | ".join([*cells, f"{limit:.3g}{unit}" if checked else "-", held]) + " |", flush=True)

    def ratio(self, what: str, a: str, b: str, taken: dict[str, list[Sample]], limit: float | None,
              of: str = "wall") -> None:
        """A row of times; the limit is for `of`, wall or cpu."""
        self.samples[what] = {name: [s._asdict() for s in taken[name]] for name in (a, b)}
        cells, medians = [what], {}
        for name in (a, b):
            cells.append(f"{name}: {median([s.wall for s in taken[name]]):.2f} s, "
                         f"CPU {median([s.cpu for s in taken[name]]):.2f} s, {max(s.peak for s in taken[name]):.0f} MB")
        for field in ("wall", "cpu"):
            ratios = [getattr(x, field) / getattr(y, field) for x, y in zip(taken[a], taken[b])]
            medians[field] = median(ratios)
            cells.append(f"{medians[field]:.3f} ({min(ratios):.3f} to {max(ratios):.3f}, n = {len(ratios)})")
        self.row(cells, medians[of], limit, " (CPU)" if of == "cpu" else "")


def make_patches() -> None:
    """One patch of 8 and one of 16 bits: slow shading of low contrast, another in each channel, and grain of
    2.5 levels. It continues at its edges, and it is wider than what a compressor looks back, so that a scan made
    by repeating it compresses as a scan and not as a pattern."""
    side = str(PATCH)
    for c in "012":
        run(["vips", "perlin", f"shade{c}.v", side, side, "--cell-size", str(PATCH // 4), "--seed", c])
        run(["vips", "gaussnoise", f"grain{c}.v", side, side, "--mean", "0", "--sigma", "2.5", "--seed", c])
    for part in ("shade", "grain"):
        run(["vips", "bandjoin", " ".join(f"{part}{c}.v" for c in "012"), f"{part}.v"])
    run(["vips", "linear", "shade.v", "level.v", "110 100 90", "130 118 104"])
    run(["vips", "add", "level.v", "grain.v", "float.v"])
    for bits, factor, form, space in ((8, "1", "uchar", "srgb"), (16, "257", "ushort", "rgb16")):
        run(["vips", "linear", "float.v", "scaled.v", factor, "0"])
        run(["vips", "cast", "scaled.v", "cast.v", form])
        run(["vips", "copy", "cast.v", f"patch{bits}.v", "--interpretation", space])
    for name in ("shade", "grain", *(f"{part}{c}" for part in ("shade", "grain") for c in "012"),
                 "level", "float", "scaled", "cast"):
        os.remove(f"{name}.v")


def make(scan: Scan, shift: int = 0) -> Scan:
    """The patch repeated over the whole scan; vips streams it, so that memory does not grow with the scan."""
    run(["vips", "embed", f"patch{scan.bits}.v", f"{scan.name}[{scan.options}]", str(shift), str(shift // 2),
         str(scan.width), str(scan.height), "--extend", "repeat"])
    check({scan.name: scan})
    return scan


def memory(table: Table, zep3: str, side: int) -> None:
    scan = make(Scan("large.tif", side, side, 8, f"compression=lzw,{TILES},bigtiff"))
    taken = measure(Trial([[zep3, scan.name, "-o", "result.tif", *OURS]], {"result.tif": scan}), through=True)
    os.remove(scan.name)
    what = f"Peak memory, {side * side // MB} MP TIFF, RGB 8 bit, LZW, tiles, BigTIFF"
    table.samples[what] = taken._asdict()
    table.row([what, f"zep3: {taken.peak:.0f} MB ({taken.wall:.0f} s, CPU {taken.cpu:.0f} s)", "-", "-", "-"],
              taken.peak, MEMORY_LIMIT, " MB")


def times(table: Table, zep3: str, side: int, pairs: int) -> None:
    def row(kind: str, text: str, scan: Scan) -> None:
        make(scan)
        table.ratio(f"Time, {scan.width * scan.height // MB} MP {kind}, RGB {text}", "zep3", "vips copy",
                    in_turn(beside_copy(zep3, scan), pairs), TIME_LIMIT)
        os.remove(scan.name)

    for text, scan in (("16 bit, uncompressed", Scan("plain16.tif", side, side, 16, PLAIN)),
                       ("8 bit, uncompressed", Scan("plain8.tif", side, side, 8, PLAIN)),
                       ("8 bit, deflate, tiles", Scan("deflate.tif", side, side, 8, f"compression=deflate,{TILES}")),
                       ("8 bit, deflate", Scan("strips.tif", side, side, 8, f"compression=deflate,{STRIPS}")),
                       ("8 bit, LZW", Scan("lzw.tif", side, side, 8, f"compression=lzw,{STRIPS}"))):
        row("TIFF", text, scan)
    for bits in (8, 16):
        for compression in ("deflate", "lzw"):
            row("TIFF", f"{bits} bit, {compression}",
                Scan("middle.tif", 3000, 2000, bits, f"compression={compression},{STRIPS}"))
        row("PNG", f"{bits} bit", Scan("middle.png", 3000, 2000, bits, "compression=6"))


def beside_copy(zep3: str, scan: Scan) -> dict[str, Trial]:
    ours, copy = "result" + scan.name, "copy" + scan.name
    to = f"{ours}[{scan.options}]" if scan.name.endswith(".jpg") else ours   # of a TIFF, zep3 keeps them itself
    return {"zep3": Trial([[zep3, scan.name, "-o", to, *OURS]], {ours: scan}),
            "vips copy": Trial([["vips", "copy", scan.name, f"{copy}[{scan.options}]"]], {copy: scan})}


def photos(table: Table, zep3: str, count: int, pairs: int) -> None:
    """JPEG, of which the pixels decide what it costs: contrast that is added is size and time added. So these
    photographs have theirs already."""
    for width, height in ((8640, 5760), (6000, 4000), (4000, 3000)):
        pale = make(Scan("pale.jpg", width, height, 8, PHOTO))
        photo = Scan("photo.jpg", width, height, 8, PHOTO)
        run([zep3, pale.name, "-o", f"{photo.name}[{PHOTO}]", "--overwrite", *OURS])
        os.remove(pale.name)
        # vips copy encodes beside decoding, which nobody can who looks at the picture first: CPU time tells what is
        # added.
        table.ratio(f"Time, {round(width * height / MB)} MP JPEG, quality 95", "zep3", "vips copy",
                    in_turn(beside_copy(zep3, photo), pairs), TIME_LIMIT, "cpu")
    names = [f"photo{i}.jpg" for i in range(count)]
    for name in names:
        os.link(photo.name, name)
    os.makedirs("finished", exist_ok=True)
    results = {f"finished/{name}": photo for name in names}
    trials = {f"zep3 -j{jobs}": Trial([[zep3, *names, "-o", "finished", f"-j{jobs}", *OURS]], results)
              for jobs in (1, 2)}
    table.ratio(f"{count} such JPEGs: two jobs, one job", "zep3 -j2", "zep3 -j1", in_turn(trials, pairs), WORKERS_LIMIT)
    for name in (photo.name, *names):
        os.remove(name)
    shutil.rmtree("finished")   # with what the runs keep of themselves


def peer(table: Table, zep3: str, side: int, pairs: int) -> None:
    """Programs that stretch the levels of a scan; those that are not installed are left out."""
    scan = make(Scan("plain.tif", side, side, 8, PLAIN))
    what = f"{side * side // MB} MP TIFF, RGB 8 bit, uncompressed"
    normalize = [scan.name, "-normalize", "-define", "tiff:rows-per-strip=128", "other.tif"]
    others = {"convert -normalize": [["convert", *normalize]],
              "gm convert -normalize": [["gm", "convert", *normalize]],
              "vips hist_find, maplut": [["vips", "hist_find", scan.name, "counts.v"],
                                         ["vips", "hist_cum", "counts.v", "sums.v"],
                                         ["vips", "hist_norm", "sums.v", "table.v"],
                                         ["vips", "maplut", scan.name, f"other.tif[{PLAIN}]", "table.v"]]}
    for name, commands in others.items():
        if not shutil.which(commands[0][0]):
            print(f"{commands[0][0]} is missing: not compared", file=sys.stderr)
            continue
        taken = in_turn({"zep3": beside_copy(zep3, scan)["zep3"], name: Trial(commands, {"other.tif": scan})}, pairs)
        limited = name == "convert -normalize"
        table.ratio(f"Time, {what}", "zep3", name, taken, PEER_CPU_LIMIT if limited else None, "cpu")
        ours, theirs = (max(s.peak for s in taken[side]) for side in taken)
        table.row([f"Peak memory, {what}", f"zep3: {ours:.0f} MB", f"{name}: {theirs:.0f} MB", f"{ours / theirs:.3f}",
                   "-"], ours / theirs, PEER_MEMORY_LIMIT if limited else None)
    for name in (scan.name, "counts.v", "sums.v", "table.v"):
        if os.path.exists(name):
            os.remove(name)


def batch(table: Table, zep3: str, count: int, pairs: int) -> None:
    scans = [make(Scan(f"small{i}.tif", 400, 300, 8, PLAIN), 11 * i) for i in range(count)]
    os.makedirs("finished", exist_ok=True)
    names = [scan.name for scan in scans]
    results = {f"finished/{scan.name}": scan for scan in scans}
    one_each = f"{count} runs"
    trials = {form: Trial([[zep3, *names, "-o", "finished", *form.split()[1:], *OURS]], results)
              for form in ("zep3 -j1", "zep3 -j2", "zep3")}
    trials[one_each] = Trial([[zep3, name, "-o", f"finished/{name}", "-j1", *OURS] for name in names], results)
    taken = in_turn(trials, pairs)
    what = f"{count} TIFFs of 400 x 300, RGB 8 bit"
    table.ratio(f"{what}: one run, one run each", "zep3 -j1", one_each, taken, BATCH_LIMIT)
    table.ratio(f"{what}: one run with default jobs, one run each", "zep3", one_each, taken, None)
    table.ratio(f"{what}: two jobs, one job", "zep3 -j2", "zep3 -j1", taken, None)
    analyses = {f"zep3 --analysis {analysis}":
                Trial([[zep3, *names, "-o", "finished", "-j1", "--analysis", analysis, *OURS]], results)
                for analysis in ("adaptive", "standard")}
    table.ratio(f"{what}: the two analyses", *analyses, in_turn(analyses, pairs), TIME_LIMIT, "cpu")
    for name in names:
        os.remove(name)
    shutil.rmtree("finished")   # with what the runs keep of themselves


def waiting(table: Table, zep3: str, side: int, count: int, pairs: int) -> None:
    """Results on the disk before they take their names, which is what a run does unless told otherwise."""
    def row(what: str, scans: list[Scan], to: str, *more: str) -> None:
        results = {f"{to}/{scan.name}": scan for scan in scans}
        os.makedirs(to)
        command = [zep3, *(scan.name for scan in scans), "-o", f"{to}/", *more]
        table.ratio(f"{what}: on the disk, in the cache", "zep3", "zep3 --no-sync",
                    in_turn({"zep3": Trial([[*command, "--quiet"]], results),
                             "zep3 --no-sync": Trial([[*command, *OURS]], results)}, pairs), None)
        shutil.rmtree(to)
        for scan in scans:
            os.remove(scan.name)

    for text, scan in (("RGB 16 bit, uncompressed", Scan("plain16.tif", side, side, 16, PLAIN)),
                       ("RGB 8 bit, deflate, tiles", Scan("deflate.tif", side, side, 8, f"compression=deflate,{TILES}"))):
        row(f"Time, {side * side // MB} MP TIFF, {text}", [make(scan)], "finished")
    row("Time, 12 MP JPEG, quality 95", [make(Scan("photo.jpg", 4000, 3000, 8, PHOTO))], "finished")
    for jobs in ("-j1", "-j2"):
        row(f"{count} TIFFs of 400 x 300, RGB 8 bit, {jobs}",
            [make(Scan(f"small{i}.tif", 400, 300, 8, PLAIN), 11 * i) for i in range(count)], "finished", jobs)


def machine(zep3: str) -> str:
    lines = Path("/proc/cpuinfo").read_text().splitlines()
    model = next((line.split(":", 1)[1].strip() for line in lines if line.startswith("model name")), os.uname().machine)
    return f"{says([zep3, '--version'])[0]}; {says(['vips', '--version'])[0]}; {model}, {os.cpu_count()} cores"


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--zep3", type=Path, default=REPOSITORY / "build/release/zep3", metavar="PATH",
                        help="the program (build/release/zep3 of the repository)")
    parser.add_argument("--pairs", type=int, metavar="N", help="runs of each side (5; quick: 2)")
    parser.add_argument("--only", choices=("memory", "time", "photo", "batch", "waiting", "peer"), help="one part of the table")
    parser.add_argument("--quick", action="store_true", help="smaller scans, to try the script; checks no limits")
    parser.add_argument("--work", type=Path, metavar="DIR", help="folder for the scans (a temporary one)")
    parser.add_argument("--json", type=Path, metavar="FILE", help="write all samples here")
    args = parser.parse_args()
    args.pairs = args.pairs if args.pairs is not None else 2 if args.quick else 5
    if args.pairs < 1:
        parser.error("--pairs must be 1 or more")
    return args


def bench(args: argparse.Namespace, zep3: str) -> Table:
    """All parts in the current folder."""
    large, middle, count, few = (10000, 5000, 20, 4) if args.quick else (30000, 10000, 200, 32)
    parts = {"memory": (2 * 3 * large ** 2, lambda: memory(table, zep3, large)),      # bytes of the largest moment
             "time": (2 * 6 * middle ** 2, lambda: times(table, zep3, middle, args.pairs)),
             "photo": (2 * 12 * MB * few, lambda: photos(table, zep3, few, args.pairs)),
             "peer": (3 * 3 * middle ** 2, lambda: peer(table, zep3, middle, args.pairs)),
             "batch": (2 * 3 * 400 * 300 * count, lambda: batch(table, zep3, count, args.pairs)),
             "waiting": (2 * 6 * middle ** 2, lambda: waiting(table, zep3, middle, count, args.pairs))}
    chosen = [args.only] if args.only else list(parts)
    need, free = max(parts[part][0] for part in chosen) + 700 * MB, shutil.disk_usage(".").free
    print(f"Space needed: {need // MB} MB, free: {free // MB} MB", file=sys.stderr)
    if free < need:
        raise Missing(f"{need // MB} MB are needed in the work folder, {free // MB} MB are free; see --work")
    table = Table(args.quick, machine(zep3))
    make_patches()
    for part in chosen:
        parts[part][1]()
    for name in ("patch8.v", "patch16.v", LOG):
        os.remove(name)
    return table


def main() -> int:
    args = arguments()
    zep3, start = str(args.zep3.resolve()), Path.cwd()
    try:
        for tool in (zep3, "vips", "vipsheader"):
            if not shutil.which(tool):
                raise Missing(f"{Path(tool).name} is missing" + (", see --zep3" if tool == zep3 else ""))
        with contextlib.nullcontext(args.work) if args.work else tempfile.TemporaryDirectory() as work:
            os.makedirs(work, exist_ok=True)
            os.chdir(work)
            try:
                table = bench(args, zep3)
            finally:
                os.chdir(start)
        if args.json:
            args.json.write_text(json.dumps(table.samples, indent=1) + "\n")
        return 0 if table.held else 1
    except (Failed, Missing) as error:
        print(f"program.py: {error}", file=sys.stderr)
        return 2 if isinstance(error, Missing) else 1


if __name__ == "__main__":
    sys.exit(main())
