"""The examples run, and write what they say."""

import os
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from conftest import SAMPLES
from PIL import Image

EXAMPLES = Path(os.environ["ZEP3_PYTHON_EXAMPLES"])


def run(name, *words):
    words = [sys.executable, EXAMPLES / name, *words]
    return subprocess.run(list(map(str, words)), capture_output=True, text=True, check=True).stdout


def test_first_steps(tmp_path):
    told = run("first_steps.py", SAMPLES / "slide-faded.jpg", "faded-slide", tmp_path)
    assert "confidence" in told and "dyeLeft" in told
    before, after = (np.asarray(Image.open(tmp_path / name)) for name in ("before.png", "finished.png"))
    assert before.shape == after.shape and not np.array_equal(before, after)
    assert {path.name for path in tmp_path.iterdir()} == {
        "before.png", "finished.png", "lighter.png", "tables.png", "report.png",
    }


def test_roll(tmp_path):
    scans = sorted((SAMPLES / "roll").glob("*.jpg"))
    told = run("roll.py", "negative", tmp_path, *scans)
    assert "8.jpg: blank" in told and "1.jpg: shared" in told
    assert len(list(tmp_path.iterdir())) == len(scans)


def test_crop(tmp_path):
    run("crop.py", SAMPLES / "strip.jpg", "negative", tmp_path / "picture.png")
    width, height = Image.open(tmp_path / "picture.png").size
    # The frames of the sample are 36 x 24 mm, as large as 1000 x 640 pixels leave them.
    assert width / height == pytest.approx(1.5, abs=0.05)
