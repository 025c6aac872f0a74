#!/usr/bin/env python3
"""Corrects 42 scans again and again where there is no room or nearly none for the results, and compares what is then
under their names with what is made where there is room: on a tmpfs that is mounted for each run, of a size by chance,
with 1, 2 and 8 workers, into a folder and in place.

Exit status: 0; 1 when anything under a name differs, when a file that is no result stays, or when the program's count
is not that of the results; 77 when no tmpfs can be mounted (it takes root, or a kernel that lets users have namespaces
of their own)."""
import argparse
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

KINDS = ("plain.tif", "deflate.tif[compression=deflate]", "tiles.tif[compression=lzw,tile,tile-width=64,tile-height=64]",
         "a.png", "a.jpg[Q=95]", "a.webp[lossless]")
OF_EACH, WORKERS = 7, (1, 2, 8)
PAGE = 4096                                        # bytes, in which a tmpfs counts
INSIDE = "ZEP3_FULL_DISK_INSIDE"                   # set in the namespace of its own
SKIPPED = 77

Files = dict[str, bytes]


def run(*command: str | Path, cwd: Path | None = None) -> subprocess.CompletedProcess[str]:
    return subprocess.run([str(word) for word in command], cwd=cwd, capture_output=True, text=True, check=False)


def must(*command: str | Path, cwd: Path | None = None) -> None:
    done = run(*command, cwd=cwd)
    if done.returncode:
        sys.exit(f"full_disk.py: {command[0]}: {done.stderr}")


def enter_namespace() -> int:
    """Runs this script again where mounts are nobody else's business."""
    unshare = ["unshare", "--mount"] if os.geteuid() == 0 else ["unshare", "--map-root-user", "--mount"]
    with tempfile.TemporaryDirectory() as folder:
        if run(*unshare, "mount", "-t", "tmpfs", "none", folder).returncode:
            print("skipped: no tmpfs can be mounted here")
            return SKIPPED
    return subprocess.run([*unshare, sys.executable, *sys.argv], env={**os.environ, INSIDE: "1"}, check=False).returncode


def make_scans(folder: Path) -> None:
    """Noise, so that nothing becomes small; every scan is another."""
    for number in range(OF_EACH):
        noise = folder / "noise.v"
        must("vips", "gaussnoise", noise, 120 + 8 * number, 100, "--mean", "110", "--sigma", "25", "--seed", number)
        must("vips", "cast", noise, folder / "gray.v", "uchar")
        must("vips", "bandjoin", " ".join([str(folder / "gray.v")] * 3), folder / "three.v")
        must("vips", "copy", folder / "three.v", folder / "rgb.v", "--interpretation", "srgb")
        for kind in KINDS:
            must("vips", "copy", folder / "rgb.v", folder / f"{number}-{kind}")
    for name in ("noise.v", "gray.v", "three.v", "rgb.v"):
        (folder / name).unlink()


def read(folder: Path) -> Files:
    return {entry.name: Path(entry).read_bytes() for entry in os.scandir(folder) if entry.name != ".zep3-run"}


def original(name: str) -> str:
    path = Path(name)
    return f"{path.stem}_original{path.suffix}"


def pages(files: Files) -> int:
    return sum(-(-len(content) // PAGE) for content in files.values())


class Trial:
    """The same work with room and without."""

    def __init__(self, zep3: Path, scans: Path, work: Path, in_place: bool):
        self.zep3, self.source, self.scans, self.in_place = zep3, scans, read(scans), in_place
        self.place = work
        shutil.copytree(scans, self.place)
        done = self.correct(2)
        if done.returncode:
            sys.exit(f"full_disk.py: {done.stderr}")
        self.whole = read(self.place if in_place else self.place / "out")
        shutil.rmtree(self.place)
        self.place.mkdir()

    def correct(self, workers: int) -> subprocess.CompletedProcess[str]:
        to = ["--in-place"] if self.in_place else ["-o", "out"]
        return run(self.zep3, "-k", "photo", *sorted(self.scans), *to, "--sidecar", "-j", workers, cwd=self.place)

    def __call__(self, room: int, workers: int) -> tuple[int, list[str]]:
        """Room: pages for what is made. Returns how many were made, and what is wrong."""
        size = (room + pages(self.scans) + 8) * PAGE   # folders take some
        must("mount", "-t", "tmpfs", "-o", f"size={size}", "none", self.place)
        try:
            for name, content in self.scans.items():
                (self.place / name).write_bytes(content)
                shutil.copystat(self.source / name, self.place / name)   # a sidecar holds the time
            done = self.correct(workers)
            out = self.place if self.in_place else self.place / "out"
            return self.judge(read(out) if out.is_dir() else {}, done)
        finally:
            must("umount", self.place)

    def judge(self, found: Files, done: subprocess.CompletedProcess[str]) -> tuple[int, list[str]]:
        wrong = []
        for name, content in found.items():
            former = self.scans.get(name.replace("_original.", ".")) if self.in_place else None
            if content not in (self.whole.get(name), former):
                wrong.append(f"{name}: {len(content)} bytes, is not what is made with room")
        if self.in_place:                              # where the scan is, whatever becomes of it
            wrong += [f"{name} is lost" for name, content in self.scans.items()
                      if content not in (found.get(name), found.get(original(name)))]
        made = sum(found.get(name) == self.whole.get(name) for name in self.scans)
        told = re.search(r"zep3: (\d+) corrected, (\d+) failed", done.stderr)
        if told is None or (int(told[1]), int(told[2])) != (made, len(self.scans) - made):
            wrong.append(f"{made} of {len(self.scans)} were made, and it says: {done.stderr[-200:]}")
        if done.returncode != (0 if made == len(self.scans) else 1):
            wrong.append(f"status {done.returncode}")
        return made, wrong


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--zep3", type=Path, default=Path(__file__).resolve().parent.parent / "build/release/zep3")
    parser.add_argument("--runs", type=int, default=24, metavar="N")
    parser.add_argument("--seed", type=int, default=1, metavar="N")
    return parser.parse_args()


def main() -> int:
    args = arguments()
    if INSIDE not in os.environ:
        return enter_namespace()
    chance = random.Random(args.seed)
    faults, made, tried, short = [], 0, 0, 0
    with tempfile.TemporaryDirectory() as folder:
        scans = Path(folder) / "scans"
        scans.mkdir()
        make_scans(scans)
        trials = [Trial(args.zep3.resolve(), scans, Path(folder) / f"trial{in_place}", in_place) for in_place in (0, 1)]
        for number in range(args.runs):
            workers, trial = WORKERS[number % 3], trials[number // 3 % 2]
            need = pages(trial.whole)
            # Every other disk is nearly large enough.
            room = need - chance.randrange(60) if number // 6 % 2 else chance.randrange(need)
            now, wrong = trial(room, workers)
            made, tried, short = made + now, tried + len(trial.scans), short + (now < len(trial.scans))
            faults += [f"run {number}, {workers} workers, room for {room} of {need} pages"
                       f"{', in place' if trial.in_place else ''}: {what}" for what in wrong]
    print("\n".join(faults) or f"{args.runs} runs, {short} of them without room for all: {made} of {tried} results, "
                               "each as it is made with room")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
