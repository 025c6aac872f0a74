"""OCRmyPDF with the plugin: the text layer is there, and says more than without."""

import difflib
import os
import subprocess
import sys
import unicodedata
from pathlib import Path

import numpy as np
import pytest
from conftest import SAMPLES, sample
from PIL import Image

pytest.importorskip("ocrmypdf")


def run(scan, pdf, *options, status=0):
    text = pdf.with_suffix(".txt")
    words = ["-q", "-O0", "--output-type", "pdf", "--image-dpi", "100", "--tesseract-timeout", "900", "--sidecar", text, *options, scan, pdf]
    done = subprocess.run(
        [sys.executable, "-m", "ocrmypdf", *map(str, words)],
        capture_output=True,
        text=True,
        timeout=500,
        env=os.environ | {"OMP_THREAD_LIMIT": "1"},
    )
    assert done.returncode == status, done.stderr
    return text.read_text() if status == 0 else done.stderr


def letters(line):
    """As they are printed: no accents, the long s like f, one letter for u and v, and for i and j."""
    plain = unicodedata.normalize("NFKD", line.lower()).replace("æ", "ae").replace("œ", "oe")
    return "".join(c for c in plain if c.isascii() and c.isalpha()).translate(str.maketrans("fvj", "sui"))


def letters_right(text, truth):
    """Letters of the page's lines that are found, in their order, in a line that is read; at least half of a line."""
    read = [letters(line) for line in text.splitlines()]

    def found(line, other):
        blocks = difflib.SequenceMatcher(None, line, other, False).get_matching_blocks()
        right = sum(block.size for block in blocks) - max(0, len(other) - len(line))
        return right if 2 * right >= len(line) else 0

    return sum(max((found(line, other) for other in read), default=0) for line in truth)


def shaded(scan):
    """A page whose left part lies in the shade, as in the fold of a book."""
    x = np.linspace(0, 1, scan.shape[1])[:, None]
    return np.rint(scan * (1 - 0.75 * np.exp(-(((x - 0.1) / 0.4) ** 2)))).astype(np.uint8)


def picture_of(pdf):
    import pikepdf

    with pikepdf.open(pdf) as file:
        (image,) = file.pages[0].images.values()
        return np.asarray(pikepdf.PdfImage(image).as_pil_image().convert("RGB"))


def test_a_shaded_column_is_read(tmp_path):
    column = shaded(sample("breviary.jpg")[60:300, 90:320])
    Image.fromarray(column).save(tmp_path / "scan.png", dpi=(100, 100))
    truth = [letters(line) for line in (Path(__file__).parent / "breviary.txt").read_text().splitlines()[1:12]]
    options = ["--oversample", "300", "-l", "lat"]
    before = letters_right(run(tmp_path / "scan.png", tmp_path / "before.pdf", *options), truth)
    plugin = ["--plugin", "zep3.ocrmypdf", "--zep3-kind", "background"]
    after = letters_right(run(tmp_path / "scan.png", tmp_path / "after.pdf", *options, *plugin), truth)
    assert after >= before
    assert after > 0.8 * sum(map(len, truth))
    # The page's paper is white from one side to the other, which the scan's is not.
    light = np.percentile(picture_of(tmp_path / "after.pdf"), 90, axis=(0, 2))
    assert light.min() > 0.95 * light.max() > 235
    assert np.percentile(picture_of(tmp_path / "before.pdf"), 90, axis=(0, 2)).min() < 120


def test_options(tmp_path):
    plate = SAMPLES / "plate.jpg"
    plugin = ["--plugin", "zep3.ocrmypdf"]
    before = run(plate, tmp_path / "before.pdf")
    after = run(plate, tmp_path / "after.pdf", *plugin, "--zep3-analysis", "standard", "--zep3-level", "5")
    assert letters(before) == letters(after) == "awetday"
    run(plate, tmp_path / "ocr.pdf", *plugin, "--zep3-ocr-only")
    assert np.array_equal(picture_of(tmp_path / "ocr.pdf"), picture_of(tmp_path / "before.pdf"))
    assert not np.array_equal(picture_of(tmp_path / "after.pdf"), picture_of(tmp_path / "before.pdf"))
    assert "--zep3-ocr-only" in run(plate, tmp_path / "redo.pdf", *plugin, "--redo-ocr", status=1)
