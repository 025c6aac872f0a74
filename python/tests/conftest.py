"""What the tests share. ZEP3_PROGRAM is the program, ZEP3_SAMPLES the folder of the sample scans."""

import os
from pathlib import Path

import numpy as np
import pytest
from PIL import Image

SAMPLES = Path(os.environ["ZEP3_SAMPLES"])


def sample(name):
    return np.asarray(Image.open(SAMPLES / name))


@pytest.fixture
def slide():
    return sample("slide-faded.jpg")


@pytest.fixture
def page():
    return sample("breviary.jpg")
