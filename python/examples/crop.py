"""The picture on a scan finished, cut out and straightened: python3 crop.py SCAN KIND RESULT

Pillow lays the window's four corners onto an upright picture.
"""

import math
import sys

import numpy as np
from PIL import Image

import zep3

scan = np.asarray(Image.open(sys.argv[1]))
correction = zep3.analyse(scan, sys.argv[2])
result = Image.fromarray(zep3.apply(correction, scan))
if correction.window is not None and correction.window_confidence >= 0.5:
    top_left, top_right, bottom_right, bottom_left = correction.window
    size = round(math.dist(top_left, top_right)), round(math.dist(top_left, bottom_left))
    corners = [*top_left, *bottom_left, *bottom_right, *top_right]
    result = result.transform(size, Image.Transform.QUAD, corners, Image.Resampling.BICUBIC)
result.save(sys.argv[3])
