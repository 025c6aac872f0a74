"""Makes samples/ and docs/images/ again, with the program. scripts/docs_pictures.sh fetches the packages and starts it.

    pictures.py ZEP3 PACKAGES [NAME...]    all pictures, or those whose names begin with one of NAME
"""
import json
import pathlib
import subprocess
import sys
import tempfile

import numpy as np
from PIL import Image, ImageDraw, ImageFont
from skimage.color import deltaE_ciede2000, rgb2lab

import simulate as s
import surroundings

ROOT = pathlib.Path(__file__).resolve().parents[2]
SAMPLES = ROOT / "samples"
IMAGES = ROOT / "docs" / "images"
FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
PAGE = 840  # width of most composed pictures, in pixels
SIZE = 512  # longer side of the simulated scans, in pixels
GAP = 8

PHOTOGRAPHS = {  # see samples/README.md
    "astronaut": "usr/lib/python3/dist-packages/skimage/data/astronaut.png",
    "camera": "usr/lib/python3/dist-packages/skimage/data/camera.png",
    "coffee": "usr/lib/python3/dist-packages/skimage/data/coffee.png",
    "rocket": "usr/lib/python3/dist-packages/skimage/data/rocket.jpg",
    "brook": "usr/share/backgrounds/life_by_Aitzol_Berasategi.jpg",
    "dogs": "usr/share/backgrounds/friends_by_Aitzol_Berasategi.jpg",
    "meadow": "usr/share/backgrounds/aitzgorri_by_Aitzol_Berasategi.jpg",
    "mountains": "usr/share/backgrounds/picosdeeuropa_by_Aitzol_Berasategi.jpg",
    "sunset": "usr/share/backgrounds/sunset_by_Aitzol_Berasategi.jpg",
    "brushes": "usr/share/backgrounds/Picture_1A_by_freespace.jpg",
    "room": "usr/share/backgrounds/Wine_by_Jakkub_Mede.jpg",
    "breviary": "prog/breviar.38.150.jpg",
    "title": "prog/candelabrum.011.jpg",
    "plate": "prog/wet-day.jpg",
    "shaded": "prog/1555.003.jpg",
    "fold": "prog/boxedpage.jpg",
    "map": "prog/map.057.jpg",
}


class Maker:
    def __init__(self, program, packages):
        self.program, self.packages = program, pathlib.Path(packages)
        self.temporary = tempfile.TemporaryDirectory()

    def photograph(self, name, size=SIZE, crop=None):
        return s.read(self.packages / PHOTOGRAPHS[name], size, crop)

    def page(self, name, size, crop=None):
        return s.display(self.photograph(name, size, crop))

    def corrected(self, scan, kind, *options):
        """The scan (8 bits, RGB) as the program finishes it."""
        folder = pathlib.Path(self.temporary.name)
        s.save(folder / "scan.png", scan)
        subprocess.run([self.program, "-k", kind, folder / "scan.png", "-o", folder / "result.png", "--overwrite", "-q",
                        "--no-sync", *options], check=True)
        return np.asarray(Image.open(folder / "result.png").convert("RGB"))


def difference(picture, original):
    """Mean CIEDE2000."""
    return deltaE_ciede2000(rgb2lab(picture), rgb2lab(original)).mean()


def gray(linear):
    """What monochrome film sees, as sRGB."""
    return s.display(np.repeat((linear @ np.array(s.FILMS["mono"]["sees"]))[..., None], 3, -1))


def fitted(values, width, height):
    """The picture in a box, without being enlarged."""
    image = Image.fromarray(values)
    scale = min(width / image.width, height / image.height, 1)
    return image.resize((max(1, round(image.width * scale)), max(1, round(image.height * scale))), Image.LANCZOS)


def compose(rows, height, width=PAGE, heads=(), shared=False):
    """Rows of (picture, caption) side by side, under column heads; as 8-bit RGB. A row may begin with a text, its title.
    With `shared` the columns have equal widths; else a row is set from left to right."""
    font = ImageFont.truetype(FONT, 13)
    columns = max(sum(not isinstance(cell, str) for cell in row) for row in rows)
    column = (width - (columns - 1) * GAP) // columns
    lines = []
    for row in rows:
        title = row[0] if isinstance(row[0], str) else None
        cells = [cell for cell in row if not isinstance(cell, str)]
        lines.append((title, [(fitted(picture, column, height), caption) for picture, caption in cells]))
    total = 20 * bool(heads)
    for title, cells in lines:
        total += 20 * bool(title) + max(p.height for p, _ in cells) + 20 * any(c for _, c in cells) + GAP
    sheet = Image.new("RGB", (width, total - GAP), "white")
    draw = ImageDraw.Draw(sheet)
    for i, head in enumerate(heads):
        draw.text((i * (column + GAP) + 2, 1), head, fill="black", font=font)
    y = 20 * bool(heads)
    for title, cells in lines:
        if title:
            draw.text((2, y + 1), title, fill="#444444", font=font)
            y += 20
        x = 0
        for i, (picture, caption) in enumerate(cells):
            if shared:
                x = i * (column + GAP)
            sheet.paste(picture, (x, y))
            if caption:
                draw.text((x + 2, y + picture.height + 2), caption, fill="black", font=font)
            x += picture.width + GAP
        y += max(p.height for p, _ in cells) + 20 * any(c for _, c in cells) + GAP
    values = np.asarray(sheet)
    used = np.flatnonzero((values < 255).any(axis=(0, 2)))[-1] + 1
    return values[:, :used]


# The samples.

def slide(m, photograph="astronaut", history="slide-heavy", size=SIZE):
    return s.scanned(s.positive(m.photograph(photograph, size), "slide", history))


def print_(m, photograph="brook", history="heavy", size=SIZE):
    return s.scanned(s.positive(m.photograph(photograph, size), "print", history))


def negative(m, photograph="mountains", film="colour", size=SIZE, **how):
    return s.scanned(s.negative(m.photograph(photograph, size), film, **how))


def strip(m, size=(1000, 640)):
    """Three colour negatives on a light table, a little tilted."""
    frames = [m.photograph(name, 900) for name in ("meadow", "mountains", "brook")]
    return surroundings.strip(frames, "colour", size, 1.6, FONT)


def samples(m):
    s.save(SAMPLES / "strip.jpg", strip(m), 88)
    s.save(SAMPLES / "slide-faded.jpg", slide(m), 90)
    s.save(SAMPLES / "print-faded.jpg", print_(m, size=600))
    s.save(SAMPLES / "negative-colour.jpg", negative(m, size=640), 90)
    s.save(SAMPLES / "negative-bw.jpg", negative(m, "camera", "mono"), 90)
    s.save(SAMPLES / "plate.jpg", m.page("plate", 1180))
    roll_samples(m)
    (SAMPLES / "breviary.jpg").write_bytes((m.packages / PHOTOGRAPHS["breviary"]).read_bytes())


# A roll of colour film through one setting of the scanner: what was photographed, stops of exposure, the light's kelvin.
# The fifth is nearly all red, the last was not exposed.
ROLL = [("mountains", 0.3, 5500), ("meadow", 0.8, 5500), ("brook", -0.2, 6800), ("dogs", 0.5, 6500),
        ("coffee", 0.4, 5500), ("astronaut", 0.6, 5500), ("sunset", -0.1, 5500), ("brook", -12.0, 5500)]


def roll_samples(m):
    for i, (name, stops, kelvin) in enumerate(ROLL):
        scan = s.scanned(s.negative(m.photograph(name, 480), "colour", stops, kelvin, seed=10 + i), 30 + i)
        s.save(SAMPLES / "roll" / f"{i + 1}.jpg", scan, 85)


def roll(m):
    """The sample roll as scanned, finished one by one and together, and what was photographed."""
    folder = pathlib.Path(m.temporary.name)
    scans = [SAMPLES / "roll" / f"{i + 1}.jpg" for i in range(len(ROLL) - 1)]
    originals = [m.page(name, 480) for name, _, _ in ROLL[:-1]]
    rows = [["as scanned"] + [(np.asarray(Image.open(scan)), "") for scan in scans]]
    for title, options in (("finished one by one", []), ("finished together", ["--roll"])):
        out = folder / title
        subprocess.run([m.program, "-k", "negative", *options, "-r", SAMPLES / "roll", "-o", out, "-q", "--no-sync",
                        "--format", "png"], check=True)
        results = [np.asarray(Image.open(out / f"{i + 1}.png").convert("RGB")) for i in range(len(scans))]
        off = [difference(result, original) for result, original in zip(results, originals)]
        rows.append([f"{title}: mean difference {np.mean(off):.1f}"] + [(r, f"{d:.1f}") for r, d in zip(results, off)])
        print("   roll", title, np.round(off, 1), np.mean(off))
    rows.append(["what was photographed"] + [(original, "") for original in originals])
    s.save(IMAGES / "roll.jpg", compose(rows, 112, shared=True), 85)


# The pictures of the guides for users.

def before_after(m):
    page = m.page("breviary", 900, (0.12, 0.03, 1.0, 0.62))
    scans = [(slide(m), "faded-slide"), (print_(m), "faded-print"), (negative(m), "negative"), (page, "background")]
    height = 186
    sized = [(np.asarray(fitted(scan, 999, height)), scan, kind) for scan, kind in scans]
    rows = [[(small, "") for small, _, _ in sized],
            [(np.asarray(fitted(m.corrected(scan, kind), 999, height)), "") for _, scan, kind in sized]]
    widths = [small.shape[1] for small, _, _ in sized]
    sheet = Image.new("RGB", (sum(widths) + GAP * (len(widths) - 1), 2 * height + GAP), "white")
    for y, row in enumerate(rows):
        x = 0
        for picture, _ in row:
            sheet.paste(Image.fromarray(picture), (x, y * (height + GAP)))
            x += picture.shape[1] + GAP
    s.save(IMAGES / "before-after.jpg", np.asarray(sheet))


def kinds(m):
    """A pair for each kind: the scan, and what the program makes of it."""
    title = m.page("title", 900, (0.10, 0.08, 0.95, 0.62))
    scans = {
        "photo": print_(m, "brushes", "dull"),
        "document": m.page("plate", 900, (0.05, 0.05, 0.95, 0.8)),
        "background": m.page("breviary", 900, (0.12, 0.03, 1.0, 0.62)),
        "ground-color": title,
        "faded-print": print_(m),
        "slide": slide(m, "coffee", "cast"),
        "faded-slide": slide(m),
        "negative": negative(m),
        "faded-negative": negative(m, "brushes", history="film-heavy"),
        "bw-negative": negative(m, "camera", "mono"),
        "faded-bw-negative": negative(m, "dogs", "mono", history="bw-stained"),
    }
    for kind, scan in scans.items():
        result = m.corrected(scan, kind)
        s.save(IMAGES / f"kind-{kind}.jpg", compose([[(scan, ""), (result, "")]], 230, 620))


def documents(m):
    """Real pages, and what the program makes of them: a shaded one, a fold, a map whose other side shows through, a plate."""
    cells = []
    for name, crop in (("shaded", (0.0, 0.0, 1.0, 0.75)), ("fold", (0.0, 0.0, 1.0, 1.0)), ("map", (0.0, 0.05, 1.0, 0.95)),
                       ("plate", (0.05, 0.05, 0.95, 0.8))):
        page = m.page(name, 900, crop)
        cells += [(page, ""), (m.corrected(page, "background"), "")]
    s.save(IMAGES / "documents.jpg", compose([cells[:4], cells[4:]], 300), 85)


def wrong(m):
    """Results that are wrong, and the same scans with what the guide advises."""
    def pair(name, scan, first, then, crop=None, head="scan"):
        cells = [(scan, head)]
        for kind, options in (first, then):
            result = m.corrected(scan, kind, *options.split())
            cells.append((result[crop] if crop else result, options or f"-k {kind}"))
        s.save(IMAGES / f"wrong-{name}.jpg", compose([cells], 230))

    pair("kind", negative(m), ("slide", ""), ("negative", ""))
    pair("faded", print_(m, "brook", "dark"), ("photo", ""), ("faded-print", ""))
    pair("book", m.page("plate", 900), ("faded-print", ""), ("document", ""))
    pair("warm", s.scanned(s.positive(evening(m, "dogs"), "print", "dark")), ("faded-print", ""),
         ("faded-print", "--balance 10,0,-30"))
    pair("backlit", m.page("sunset", SIZE), ("photo", ""), ("photo", "--backlight 6"))
    pair("linear", s.to8(m.photograph("coffee")), ("photo", ""), ("photo", "--input-gamma 1.0 --output-gamma 2.2"),
         head="raw linear scan")


# The pictures of the method pages.

def table(m, name, rows, height=130, holder=0.0):
    """Rows of (title, scan, kind, original, options): the scan, what both analyses make of it, the original; with the
    differences from the original. `holder`: the share of the longer side around the picture that is not compared."""
    lines = []
    for title, scan, kind, original, *options in rows:
        line = [title, (scan, "")]
        edge = (scan.shape[0] - original.shape[0]) // 2
        for analysis in ("standard", "adaptive"):
            result = m.corrected(scan, kind, "--analysis", analysis, *options)
            if edge > 0:
                result = result[edge:-edge, edge:-edge]
            line.append((result, f"{difference(result, original):.1f}"))
        lines.append(line + [(original, "")])
        print("  ", name, title, line[2][1], line[3][1])
    heads = ("as scanned", "standard", "adaptive", "the original")
    s.save(IMAGES / f"{name}.jpg", compose(lines, height, heads=heads, shared=True), 82)


def crop(m):
    """Scans with what lies around the picture: corrected whole, and cut to the picture."""
    slide_ = s.positive(m.photograph("astronaut", 900), "slide", "slide-heavy")
    print__ = s.positive(m.photograph("brushes", 900), "print", "heavy")
    rows = [("a film strip on a light table", strip(m), "negative"),
            ("a slide in its mount", surroundings.mounted(slide_, (900, 640), 0.62, -2.5), "faded-slide"),
            ("a print with a white border under a white lid", surroundings.on_lid(print__, (900, 640), 0.78, 3, 0.88),
             "faded-print")]
    lines = [[title, (scan, ""), (m.corrected(scan, kind), ""), (m.corrected(scan, kind, "--crop"), "")]
             for title, scan, kind in rows]
    s.save(IMAGES / "crop.jpg", compose(lines, 190, heads=("as scanned", "corrected", "with --crop"), shared=True), 85)


def evening(m, name):
    """A photograph as if it had been taken in golden light."""
    return m.photograph(name) * (1.0, 0.80, 0.50)


def adaptive_prints(m):
    def row(title, kind, name, make):
        return title, make, kind, s.display(m.photograph(name))
    table(m, "adaptive-prints", [
        row("print kept in the dark", "faded-print", "room", print_(m, "room", "dark")),
        row("yellowed print", "faded-print", "brook", print_(m, "brook", "yellowed")),
        row("slide, cyan and yellow lost", "faded-slide", "astronaut", slide(m)),
        row("slide kept in the dark", "faded-slide", "mountains", slide(m, "mountains", "slide-dark"))])


def adaptive_negatives(m):
    def row(title, kind, name, original=s.display, **how):
        return title, negative(m, name, **how), kind, original(m.photograph(name))
    table(m, "adaptive-negatives", [
        row("colour negative, daylight", "negative", "mountains"),
        row("colour negative, lamp light", "negative", "astronaut", kelvin=3200),
        row("faded colour negative", "faded-negative", "brook", history="film"),
        row("monochrome, holder and border", "bw-negative", "camera", gray, film="mono", border=0.03, holder=0.03)])


def adaptive_frame(m):
    def row(title, scan):
        return title, scan, "negative", photograph
    photograph = s.display(m.photograph("meadow"))
    straight = negative(m, "meadow", border=0.03, holder=0.05)
    straight[:, :20] = 255
    table(m, "adaptive-frame", [
        row("open light, holder, clear film", straight),
        row("tilted by one degree", tilted(straight, 1))])


def tilted(scan, degrees):
    image = Image.fromarray(scan)
    return np.asarray(image.rotate(degrees, Image.BICUBIC, fillcolor=(0, 0, 0)))


def adaptive_failures(m):
    light = evening(m, "dogs")
    table(m, "adaptive-failures", [
        ("faded print, golden light", s.scanned(s.positive(light, "print", "dark")), "faded-print", s.display(light)),
        ("colour negative, golden light", s.scanned(s.negative(light, "colour")), "negative", s.display(light))], 190)


def negatives(m):
    def row(scan, kind, *options):
        return [(scan, ""), (m.corrected(scan, kind, "--analysis", "standard", *options), "")]
    backlit = m.page("sunset", SIZE)
    photo = m.corrected(backlit, "photo", "--analysis", "standard")
    monochrome = negative(m, "camera", "mono")
    s.save(IMAGES / "negatives.jpg", compose([
        ["colour negative"] + row(negative(m, "mountains"), "negative") + [(m.page("mountains", SIZE), "")],
        ["faded colour negative"] + row(negative(m, "brook", history="film-heavy"), "faded-negative") +
        [(m.page("brook", SIZE), "")],
        ["by incandescent light, a stop over"] + row(negative(m, "astronaut", stops=1.0, kelvin=3200), "negative") +
        [(m.page("astronaut", SIZE), "")],
        ["backlit: as a photo, and with the backlight correction", (backlit, ""), (photo, "")] +
        row(backlit, "photo", "--backlight", "4")[1:],
        ["monochrome: as unfaded film, and as faded"] + row(monochrome, "bw-negative") +
        [(m.corrected(monochrome, "faded-bw-negative", "--analysis", "standard"), "")],
    ], 150, shared=True), 82)


def densities(m):
    """Blocks of a faded print by density in red and blue, as scanned and taken back by the line that was found."""
    folder = pathlib.Path(m.temporary.name)
    scan = print_(m, "rocket", "dark")
    s.save(folder / "scan.png", scan)
    told = json.loads(subprocess.run([m.program, "analyse", "-q", "-k", "faded-print", folder / "scan.png"], check=True,
                                     capture_output=True).stdout)["pages"][0]["analysis"]["evidences"]
    offset, dye = (np.array(told[name])[[0, 2]] for name in ("offset", "dyeLeft"))
    side = 4
    h, w = (n // side * side for n in scan.shape[:2])
    blocks = s.light(scan)[:h, :w].reshape(h // side, side, w // side, side, 3)
    blocks = blocks.mean(axis=(1, 3)).reshape(-1, 3)
    blocks = blocks[np.random.default_rng(1).permutation(len(blocks))[:2500]]
    ramp = np.linspace(0, 1, 50)[:, None] ** 3 * np.ones(3)
    grays = -np.log10(s.positive(ramp, "print", "dark"))[:, [0, 2]]
    ends = np.stack([np.array(told[name])[[0, 2]] for name in ("jointWhite", "jointBlack")]) * dye + offset
    seen = -np.log10(np.maximum(blocks, 1e-4))[:, [0, 2]]
    stretch = np.quantile(seen, (0.001, 0.999), axis=0)
    shown = lambda light: (s.display(light).astype(int) @ (65536, 256, 1))
    back = (-np.log10(np.maximum(blocks, 1e-4)) - told["offset"]) / told["dyeLeft"]
    commands = ["set terminal pngcairo size 840,420 font 'DejaVu Sans,9'", f"set output '{folder}/plot.png'",
                "set multiplot layout 1,2", "set grid", "set xrange [-0.1:2.3]", "set yrange [-0.1:2.3]",
                "set xlabel 'density in red'", "set ylabel 'density in blue'"]
    panels = (("as scanned", lambda d: d, shown(blocks)),
              ("taken back to the unfaded original", lambda d: (d - offset) / dye, shown(10 ** -np.maximum(back, 0))))
    for i, (title, map_, colours) in enumerate(panels):
        files = {"dots": np.column_stack([map_(seen), colours]), "true": map_(grays), "joint": map_(ends),
                 "ends": map_(stretch), "found": map_(offset + dye * np.array([[0.0], [2.1]]))}
        for name, values in files.items():
            np.savetxt(folder / f"{name}{i}", values, "%.5g" if name != "dots" else "%.4f %.4f %d")
        commands += [f"set title '{title}'", "unset key" if i == 0 else "set key bottom right samplen 2",
                     f"plot '{folder}/true{i}' with lines lw 6 lc rgb '#92c47a' title 'where grays lie in truth', "
                     f"'{folder}/dots{i}' with points pt 7 ps 0.25 lc rgb variable notitle, "
                     f"'{folder}/found{i}' with lines lw 1.5 lc rgb 'black' title 'found: offset + dye * density', "
                     f"'{folder}/ends{i}' with linespoints pt 4 ps 1.4 lw 1.5 dt 2 lc rgb '#cc2222' "
                     "title 'ends of the channels', "
                     f"'{folder}/joint{i}' with points pt 6 ps 1.4 lw 2 lc rgb '#1144cc' title 'joint white and black'"]
    subprocess.run(["gnuplot"], input="\n".join(commands), text=True, check=True)
    image = Image.open(folder / "plot.png").convert("RGB").quantize(96, dither=Image.Dither.NONE)
    image.save(IMAGES / "adaptive-densities.png", optimize=True)
    print("   adaptive-densities: white in red and blue", "found", offset, "true", grays[-1], "joint", ends[0])


def confidence(m):
    """How often results were right, by what the confidence said."""
    figures = pathlib.Path(__file__).with_name("calibration.txt")
    plot = pathlib.Path(m.temporary.name) / "calibration.png"
    commands = ["set terminal pngcairo size 420,380 font 'DejaVu Sans,9'", f"set output '{plot}'", "set grid",
                "set xrange [0:1]", "set yrange [0:1]", "set xlabel 'confidence'", "set ylabel 'share that was right'",
                "set key bottom right samplen 2",
                f"plot x with lines lc rgb '#92c47a' lw 4 title 'as it should be', '{figures}' using 1:2:"
                "(sqrt($2*(1-$2)/$3)) with yerrorbars pt 7 ps 0.8 lc rgb 'black' title 'photographs left out of the fit'"]
    subprocess.run(["gnuplot"], input="\n".join(commands), text=True, check=True)
    image = Image.open(plot).convert("RGB").quantize(32, dither=Image.Dither.NONE)
    image.save(IMAGES / "adaptive-confidence.png", optimize=True)


GROUPS = {"adaptive-prints": adaptive_prints, "adaptive-negatives": adaptive_negatives, "adaptive-frame": adaptive_frame,
          "adaptive-failures": adaptive_failures, "adaptive-densities": densities,
          "adaptive-confidence": confidence, "negatives": negatives,
          "samples": samples, "before-after": before_after, "kind": kinds, "documents": documents, "wrong": wrong, "crop": crop, "roll": roll}


def main():
    maker = Maker(*sys.argv[1:3])
    for name, make in GROUPS.items():
        if len(sys.argv) == 3 or any(name.startswith(wanted) for wanted in sys.argv[3:]):
            print(name, flush=True)
            make(maker)


if __name__ == "__main__":
    main()
