#!/usr/bin/env python3
"""Runs the fuzz targets under libFuzzer, from the corpus in fuzz/corpus, and says what each has reached.

    python3 scripts/fuzz.py [--seconds N] [--seed N] [--memory] [--keep] [TARGET...]

Builds them first (preset fuzz, Clang: AddressSanitizer and UndefinedBehaviorSanitizer; with --memory preset
fuzz-memory, MemorySanitizer, which knows the engine's targets only). A failing input stays in the build folder under
found/ and ends the run with status 1; the target runs it alone when it is given as argument. --keep puts what was found
into the corpus: the fewest inputs that reach the same edges.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
CORPUS = ROOT / "fuzz" / "corpus"  # NAME.txt: an input a line, in hexadecimal
PROGRAM = {"arguments", "file_list", "scan", "sidecar", "tiff"}  # the others are the engine's

LIMITS = ["-max_len=4096", "-timeout=20", "-rss_limit_mb=2500", "-malloc_limit_mb=500"]


def unpack(build: pathlib.Path, name: str) -> pathlib.Path:
    folder = build / "corpus" / name
    folder.mkdir(parents=True, exist_ok=True)
    for number, line in enumerate((CORPUS / f"{name}.txt").read_text().splitlines()):
        (folder / f"seed-{number:04}").write_bytes(bytes.fromhex(line))
    return folder


def pack(build: pathlib.Path, name: str) -> int:
    least = build / "least" / name
    shutil.rmtree(least, ignore_errors=True)
    least.mkdir(parents=True)
    # By edges alone: with counters and compared values there would be thousands.
    only_edges = ["-merge=1", "-use_counters=0", "-use_value_profile=0"]
    subprocess.run([build / "fuzz" / f"fuzz_{name}", *only_edges, *LIMITS, least, build / "corpus" / name],
                   check=True, capture_output=True)
    inputs = sorted((file.read_bytes() for file in least.iterdir()), key=lambda data: (len(data), data))
    (CORPUS / f"{name}.txt").write_text("".join(data.hex() + "\n" for data in inputs))
    return len(inputs)


def fuzz(build: pathlib.Path, name: str, seconds: int, seed: int) -> tuple[str, bool, str]:
    command = [build / "fuzz" / f"fuzz_{name}", f"-max_total_time={seconds}", f"-seed={seed}", *LIMITS,
               f"-artifact_prefix={build}/found/{name}-", unpack(build, name)]
    run = subprocess.run(command, capture_output=True, text=True, errors="replace")
    done = re.search(r"#(\d+)\s+DONE\s+cov: (\d+) ft: (\d+) corp: (\d+)", run.stderr)
    good = run.returncode == 0 and done is not None and int(done[1]) > 0
    return name, good, "%10s runs, %5s edges, %6s features, %5s inputs" % done.groups() if good else run.stderr[-4000:]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=60, help="for each target (60)")
    parser.add_argument("--seed", type=int, default=0, help="of the random numbers; 0 is another one each time (0)")
    parser.add_argument("--memory", action="store_true", help="under MemorySanitizer")
    parser.add_argument("--keep", action="store_true", help="put what was found into the corpus")
    parser.add_argument("targets", nargs="*", metavar="TARGET", help="all by default")
    arguments = parser.parse_args()
    preset = "fuzz-memory" if arguments.memory else "fuzz"
    build = ROOT / "build" / preset
    names = arguments.targets or sorted(file.stem for file in CORPUS.glob("*.txt"))
    if arguments.memory:
        names = [name for name in names if name not in PROGRAM]

    subprocess.run(["cmake", "--preset", preset], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    make = ["cmake", "--build", build, "--target", *(f"fuzz_{name}" for name in names)]
    made = subprocess.run(make, capture_output=True, text=True)
    if made.returncode != 0:
        print(made.stdout)
        return 1
    shutil.rmtree(build / "found", ignore_errors=True)
    (build / "found").mkdir()
    failed = False
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for name, good, text in pool.map(lambda name: fuzz(build, name, arguments.seconds, arguments.seed), names):
            print(f"{name:10} {text}", flush=True)
            failed = failed or not good
    if arguments.keep and not failed:
        for name in names:
            print(f"{name:10} {pack(build, name)} inputs kept")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
