"""The document bench: zep3 and other programs on pages whose truth is known. Writes the table in docs/documents.md.

    /usr/bin/python3 scripts/document_bench.py BENCH [--work build/document_bench] [--every N] [--jobs N] [--tables]
    /usr/bin/python3 scripts/document_bench.py BENCH --surroundings

BENCH is the folder of the bench: a run.py that makes cases, lets methods finish them and measures, with its own peers.
--surroundings makes the table of pages that lie on a lid, below a finger or beside another page, of the cases in WORK.

What WORK holds of other programs is kept; zep3's own rows are made again unless --missing or --tables is given. Needs
Debian's python3 with the packages that the bench names.
"""
import argparse
import json
import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/documents.md"
BEGIN, END = "<!-- bench -->\n", "<!-- end of bench -->\n"
AROUND, AROUND_END = "<!-- surroundings -->\n", "<!-- end of surroundings -->\n"
KINDS = ("document", "background", "ground-color")

# How a method of the bench is called in the table; those without a name are told under their own.
NAMES = {
    "raw": "as scanned", "truth": "the page itself", "lept-clean": "Leptonica, clean to white",
    "lept-norm": "Leptonica, background norm", "lept-morph": "Leptonica, morphological norm",
    "lept-otsunorm": "Leptonica, Otsu on the norm (black and white)", "lept-sauvola": "Leptonica, Sauvola (black and white)",
    "cv-divide-close": "OpenCV, division by a closing", "cv-divide-median": "OpenCV, dilate, median, difference",
    "cv-adaptive": "OpenCV, adaptive threshold (black and white)", "cv-clahe": "OpenCV, CLAHE",
    "white-balance": "stretch of each channel, as in GIMP", "noteshrink": "eight colours (the idea of noteshrink)",
    "im-normalize": "ImageMagick, normalize", "im-normalize-channels": "ImageMagick, normalize each channel",
    "im-stretch": "ImageMagick, contrast stretch", "im-lat": "ImageMagick, local threshold",
    "im-divide-blur": "ImageMagick, division by a blur", "im-whiteboard": "ImageMagick, whiteboard recipe",
    "unpaper": "unpaper", "unpaper-clean": "unpaper, as OCRmyPDF --clean",
}
for kind in KINDS:
    NAMES["standard-" + kind] = f"zep3 `{kind}`, standard"
    NAMES["adaptive-" + kind] = f"**zep3 `{kind}`**"

COLUMNS = (("cer", "characters wrong %", 1, 100), ("gray", "in gray %", 1, 100), ("worse", "read worse", 0, 1),
           ("white", "paper white %", 1, 100), ("uneven", "uneven L*", 2, 1), ("contrast", "contrast L*", 0, 1),
           ("keep", "marks dE", 1, 1), ("de_photo", "photo dE", 1, 1), ("de_light", "light text dE", 1, 1),
           ("de", "page dE", 2, 1))


def finished(scan, *options):
    """A scan (8 bits, RGB) as zep3 finishes it. Called by the bench, in processes of its own."""
    import numpy
    from PIL import Image
    with tempfile.TemporaryDirectory() as folder:
        before, after = os.path.join(folder, "scan.png"), os.path.join(folder, "result.png")
        Image.fromarray(scan).save(before, compress_level=1)
        subprocess.run([ROOT / "build/release/zep3", "-q", "--no-sync", *options, before, "-o", after], check=True)
        return numpy.asarray(Image.open(after))


def method(*options):
    return lambda scan: finished(scan, *options)


# The bench finds its methods by name: adaptive_document, gray_document, standard_document ...
for kind in KINDS:
    word = kind.replace("-", "_")
    globals()["adaptive_" + word] = method("-k", kind)
    globals()["gray_" + word] = method("-k", kind, "--gray")
    globals()["standard_" + word] = method("-k", kind, "--analysis", "standard")


def run(o):
    rows = o.work / "rows.jsonl"
    common = [sys.executable, "run.py", "--folder", o.work / "cases", "--rows", rows, "--every", str(o.every),
              "--jobs", str(o.jobs)]
    environment = os.environ | {"OMP_THREAD_LIMIT": "1", "PYTHONDONTWRITEBYTECODE": "1",
                                "LEPTONICA_PEERS": str(o.work / "leptonica_peers")}
    subprocess.run(["cc", "-O2", o.bench / "leptonica_peers.c", "-o", o.work / "leptonica_peers", "-llept"], check=True)
    peers = ["truth", *(n for n in NAMES if n != "truth" and not n.startswith(("standard-", "adaptive-")))]
    ours = []
    for way in ("adaptive", "gray", "standard"):
        for kind in KINDS:
            ours += ["--ours", f"{way}-{kind}={__file__}:{way}_{kind.replace('-', '_')}"]
    for arguments in (["--missing", "--keep", "--methods", "raw,raw/gray"],
                      ["--missing", "--methods", ",".join(peers)],
                      [*(["--missing"] if o.missing else []), "--methods", "", *ours]):
        subprocess.run([*common, *arguments], cwd=o.bench, env=environment, check=True, stdout=subprocess.DEVNULL)
    return rows


def table(bench, rows):
    sys.path.insert(0, str(bench))
    sys.dont_write_bytecode = True
    from run import summary
    rows = [json.loads(line) for line in open(rows)]
    made = {}
    for row in rows:
        made.setdefault(row["method"], set()).add(row["case"])
    # On the cases that zep3 has, and for methods that have all of them: means over other pages say nothing.
    cases = set.union(*(of for name, of in made.items() if name.startswith("adaptive-")))
    for name in (name for name, of in made.items() if not cases <= of):
        print(f"{name}: left out, it has not all {len(cases)} cases", file=sys.stderr)
    found = summary([row for row in rows if row["case"] in cases and cases <= made[row["method"]]])
    lines = ["| | " + " | ".join(head for _, head, _, _ in COLUMNS) + " |", "|---|" + "---:|" * len(COLUMNS)]
    order = ["raw", *(n for n in NAMES if n.startswith("standard-")), *(n for n in NAMES if n.startswith("adaptive-")),
             *(n for n in NAMES if n not in ("raw", "truth") and not n.startswith(("standard-", "adaptive-"))), "truth"]
    for name in (n for n in order if n in found):
        values = dict(found[name])
        gray = found.get(name.replace("adaptive-", "gray-") if name.startswith("adaptive-") else name + "/gray", {})
        values["gray"] = gray.get("cer")
        texts = [f"{values[k] * f:.{p}f}" if values.get(k) is not None else "" for k, _, p, f in COLUMNS]
        if name.startswith("adaptive-"):
            texts[2] += f", {gray['worse']} in gray" if "worse" in gray else ""
        lines.append(f"| {NAMES[name]} | " + " | ".join(texts) + " |")
    return f"*{len(cases)} pages.*\n\n" + "\n".join(lines) + "\n"


# ---- surroundings: the bench's pages laid on a lid, below a finger, beside each other ----

MARGIN = 150  # pixels of the lid on each side


def on_lid(pages, level):
    """Scans and truths beside each other on a lid of a level; where each page lies."""
    import numpy
    height = max(scan.shape[0] for scan, _ in pages)
    width = sum(scan.shape[1] for scan, _ in pages)
    scene = numpy.random.default_rng(1).normal(level, 2.0, (height + 2 * MARGIN, width + 2 * MARGIN, 3))
    places, left = [], MARGIN
    for scan, _ in pages:
        scene[MARGIN:MARGIN + scan.shape[0], left:left + scan.shape[1]] = scan
        places.append((MARGIN, left))
        left += scan.shape[1]
    return scene, places


def shaded(scene, column):
    """The fold of a book at a column: light is lost toward it, as the bench's folds do."""
    import numpy
    across = numpy.abs(numpy.arange(scene.shape[1]) - column)
    light = 1 - 0.7 * numpy.exp(-across / 80)
    return scene * (light ** (1 / 2.2))[None, :, None]


def fingered(scene):
    """A finger over the right edge of the page, and its shadow on it."""
    import numpy
    y, x = numpy.mgrid[0:scene.shape[0], 0:scene.shape[1]]
    across, along = (y - scene.shape[0] * 0.4) / 55, (scene.shape[1] - MARGIN - 40 - x) / 45
    distance = numpy.hypot(across, numpy.maximum(along, 0))
    shadow = 1 - 0.45 / (1 + numpy.exp((distance - 1.5) * 8))
    scene = scene * (shadow ** (1 / 2.2))[..., None]
    return numpy.where((distance < 1)[..., None], numpy.array([196.0, 150, 126]) * (1 - 0.25 * across ** 2)[..., None], scene)


def scenes(pages):
    """Name, scan and the places of its pages, of which the first is measured."""
    one = pages[:1]
    for name, level in (("dark lid", 25), ("gray lid", 120), ("white lid", 238)):
        yield name, *on_lid(one, level)
    scene, places = on_lid(one, 25)
    yield "finger and its shadow", fingered(scene), places
    scene, places = on_lid(pages, 25)
    yield "two pages, fold between them", shaded(scene, places[1][1]), places


def surroundings(o):
    """The table: page dE, white and wrong characters in gray, alone and in each scene, means over the same pages."""
    sys.path.insert(0, str(o.bench))
    sys.dont_write_bytecode = True
    import numpy
    from PIL import Image
    from run import load_truth
    from measures import character_errors, measure, read_words

    def judge(picture, gray, truth):
        with tempfile.NamedTemporaryFile(suffix=".png") as file:
            Image.fromarray(gray).save(file.name)
            wrong, characters = character_errors(read_words(file.name), truth.lines, truth.masks["ignore"])
        found = measure(picture, truth)
        return [found["de"], 100 * found["white"], found["uneven"], 100 * wrong / characters]

    names = sorted(path.name for path in (o.work / "cases").iterdir()
                   if path.name.split("-")[1] in ("flatbed", "yellowed", "through"))[::o.every]
    truths = {name: load_truth(str(o.work / "cases" / name), "") for name in names}
    found = {}
    for name in names:
        # A book's pages are of one paper: the other page is the same scan, turned by half a turn.
        scan = numpy.asarray(Image.open(o.work / "cases" / name / "scan.png").convert("RGB"))
        pages = [(scan, truths[name]), (scan[::-1, ::-1], None)]
        alone = [("alone", scan, [(0, 0)])]
        for scene, picture, places in [*alone, *scenes(pages)]:
            picture = numpy.clip(picture + 0.5, 0, 255).astype(numpy.uint8)
            colour, gray = finished(picture, "-k", "background"), finished(picture, "-k", "background", "--gray")
            top, left = places[0]
            inside = numpy.s_[top:top + scan.shape[0], left:left + scan.shape[1]]
            found.setdefault(scene, []).append(judge(colour[inside], gray[inside], truths[name]))
    lines = ["| | page dE | worst page's | paper white % | uneven L* | characters wrong in gray % |", "|---|---:|---:|---:|---:|---:|"]
    for scene, rows in found.items():
        mean = numpy.mean(rows, axis=0)
        lines.append(f"| {scene} | {mean[0]:.2f} | {max(r[0] for r in rows):.2f} | {mean[1]:.1f} | {mean[2]:.2f} | {mean[3]:.1f} |")
    return f"*{len(names)} pages: {', '.join(sorted({n.split('-')[1] for n in names}))}.*\n\n" + "\n".join(lines) + "\n"


def write(begin, end, table):
    text = PAGE.read_text()
    before, rest = text.split(begin)
    PAGE.write_text(before + begin + "\n" + table + "\n" + end + rest.split(end)[1])


def main():
    a = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    a.add_argument("bench", type=pathlib.Path)
    a.add_argument("--work", type=pathlib.Path, default=ROOT / "build/document_bench")
    a.add_argument("--every", type=int, default=1)
    a.add_argument("--jobs", type=int, default=2)
    a.add_argument("--missing", action="store_true", help="make only the rows that are not there")
    a.add_argument("--tables", action="store_true", help="make no rows")
    a.add_argument("--surroundings", action="store_true", help="the table of pages on a lid, instead")
    o = a.parse_args()
    o.bench, o.work = o.bench.resolve(), o.work.resolve()
    o.work.mkdir(parents=True, exist_ok=True)
    if o.surroundings:
        write(AROUND, AROUND_END, surroundings(o))
        return
    rows = o.work / "rows.jsonl" if o.tables else run(o)
    write(BEGIN, END, table(o.bench, rows))


if __name__ == "__main__":
    main()
