"""Makes samples/ and docs/images/ again, with the program. Started by scripts/docs_pictures.sh, which fetches the packages.

    pictures.py ZEP3 PACKAGES [NAME...]    all pictures, or those whose names begin with one of NAME
"""
import pathlib
import subprocess
import sys
import tempfile

import numpy as np
from PIL import Image, ImageDraw, ImageFont
from skimage.color import deltaE_ciede2000, rgb2lab

import simulate as s

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
    "motorcycle": "usr/lib/python3/dist-packages/skimage/data/motorcycle_left.png",
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
    """Rows of (picture, caption) side by side, under column heads; as 8-bit RGB. A row may begin with a text: its title.
    With `shared` the columns have equal widths, else a row is set from left to right and centred."""
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


def print_(m, photograph="motorcycle", history="heavy", size=SIZE):
    return s.scanned(s.positive(m.photograph(photograph, size), "print", history))


def negative(m, photograph="mountains", film="fast", size=SIZE, **how):
    return s.scanned(s.negative(m.photograph(photograph, size), film, **how))


def samples(m):
    s.save(SAMPLES / "slide-faded.jpg", slide(m), 90)
    s.save(SAMPLES / "print-faded.jpg", print_(m, size=640), 90)
    s.save(SAMPLES / "negative-colour.jpg", negative(m, size=640), 90)
    s.save(SAMPLES / "negative-bw.jpg", negative(m, "camera", "mono"), 90)
    s.save(SAMPLES / "plate.jpg", m.page("plate", 1180))
    (SAMPLES / "breviary.jpg").write_bytes((m.packages / PHOTOGRAPHS["breviary"]).read_bytes())


# The pictures of the guides for users.

def before_after(m):
    page = m.page("title", 900, (0.10, 0.08, 0.95, 0.62))
    scans = [(slide(m), "faded-slide"), (print_(m), "faded-print"), (negative(m), "negative"), (page, "ground-color")]
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
    old_page = m.page("breviary", 900, (0.04, 0.06, 0.98, 0.56))
    title = m.page("title", 900, (0.10, 0.08, 0.95, 0.62))
    scans = {
        "photo": print_(m, "brook", "cast"),
        "document": m.page("plate", 1000, (0.05, 0.05, 0.95, 0.8)),
        "background": old_page,
        "ground-color": title,
        "faded-print": print_(m),
        "slide": slide(m, "meadow", "cast"),
        "faded-slide": slide(m),
        "negative": negative(m),
        "faded-negative": negative(m, "brook", "fast", history="film-heavy"),
        "bw-negative": negative(m, "camera", "mono"),
        "faded-bw-negative": negative(m, "dogs", "mono", history="bw-stained"),
    }
    for kind, scan in scans.items():
        result = m.corrected(scan, kind)
        s.save(IMAGES / f"kind-{kind}.jpg", compose([[(scan, ""), (result, "")]], 230, 620))


def tilted(scan, degrees):
    image = Image.fromarray(scan)
    return np.asarray(image.rotate(degrees, Image.BICUBIC, expand=True, fillcolor=(0, 0, 0)))


def wrong(m):
    """Results that are wrong, and the same scans with what the guide advises."""
    def pair(name, scan, kind, first, *right, height=230, heads):
        wrong_kind, *options = first
        rows = [[(scan, heads[0]), (m.corrected(scan, wrong_kind, *options), heads[1]), (m.corrected(scan, kind, *right), heads[2])]]
        s.save(IMAGES / f"wrong-{name}.jpg", compose(rows, height))

    film = negative(m)
    pair("kind", film, "negative", ("slide",), heads=("scan", "-k slide", "-k negative"))
    light_print = print_(m, "motorcycle", "dark")
    pair("faded", light_print, "faded-print", ("photo",), heads=("scan", "-k photo", "-k faded-print"))
    warm = negative(m, "sunset")
    pair("warm", warm, "negative", ("negative",), "--balance", "10,0,-30",
         heads=("scan", "-k negative", "--balance 10,0,-30"))
    backlit = m.page("sunset", SIZE)
    pair("backlit", backlit, "photo", ("photo",), "--backlight", "6", heads=("scan", "-k photo", "--backlight 6"))
    linear = s.to8(m.photograph("coffee"))
    pair("linear", linear, "photo", ("photo",), "--input-gamma", "1.0", "--output-gamma", "2.2",
         heads=("raw linear scan", "-k photo", "--input-gamma 1.0 --output-gamma 2.2"))


GROUPS = {"samples": samples, "before-after": before_after, "kind": kinds, "wrong": wrong}


def main():
    maker = Maker(*sys.argv[1:3])
    for name, make in GROUPS.items():
        if len(sys.argv) == 3 or any(name.startswith(wanted) for wanted in sys.argv[3:]):
            print(name, flush=True)
            make(maker)


if __name__ == "__main__":
    main()
