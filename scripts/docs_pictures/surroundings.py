"""What lies around a picture on a scan: film with perforations and its neighbours, a mount, the lid of a flatbed.

Takes and gives light at the sensor, as simulate.py does. Film is drawn in millimetres: 35 mm wide, pictures of 36 x 24.
"""
import numpy as np
from PIL import Image, ImageDraw, ImageFont

import simulate as s

OPEN = 0.95     # the light itself
OPAQUE = 0.002  # mount and holder: stray light
PAPER = 0.80    # the white border of a print
FINER = 2       # drawn so much finer than it is scanned

FILM, WIDTH, HEIGHT, GAP = 35.0, 36.0, 24.0, 2.0
HOLE = (1.98, 2.79)  # along and across the film, with round corners
HOLE_PITCH, HOLE_EDGE = 4.75, 2.0


def sized(light, width, height):
    """The middle of a picture in the box's proportions, and in its size."""
    h, w = light.shape[:2]
    crop_w, crop_h = min(w, h * width / height), min(h, w * height / width)
    box = ((w - crop_w) / 2, (h - crop_h) / 2, (w + crop_w) / 2, (h + crop_h) / 2)
    return np.stack([np.asarray(Image.fromarray(light[..., c].astype(np.float32)).resize(
        (round(width), round(height)), Image.BICUBIC, box)) for c in range(3)], -1).clip(0)


def mask(shape, draw):
    image = Image.new("L", (shape[1], shape[0]), 0)
    draw(ImageDraw.Draw(image))
    return np.asarray(image, dtype=np.float64)[..., None] / 255


def laid(scene, size, degrees, outside, seed):
    """The scene turned clockwise and scanned in `size`; what is seen beyond it has the light `outside`."""
    turned = np.stack([np.asarray(Image.fromarray(scene[..., c].astype(np.float32)).rotate(
        -degrees, Image.BICUBIC, fillcolor=outside).resize(size, Image.BOX)) for c in range(3)], -1)
    return s.scanned(turned, seed)


def strip(frames, film, size, degrees, font, seed=1):
    """Negatives of photographs (light) side by side on a light table; the middle one in the middle of the scan."""
    width, height = (FINER * side for side in size)
    mm = 0.80 * height / FILM  # pixels
    scene = np.full((height, width, 3), OPEN)
    top = (height - FILM * mm) / 2
    clear = s.negative(frames[0], film, border=0.02)[0, 0]
    scene[round(top):round(top + FILM * mm)] = clear

    def marks(draw):
        letters = ImageFont.truetype(font, round(1.7 * mm))
        for i in range(-3, 5):
            draw.text((width / 2 + i * (WIDTH + GAP) / 2 * mm, top + 0.15 * mm), f"SAFETY {24 + i}", fill=255, font=letters)
    scene *= 1 - 0.85 * mask(scene.shape, marks)

    def holes(draw):
        for edge in (HOLE_EDGE, FILM - HOLE_EDGE - HOLE[1]):
            for x in np.arange(0.3 * HOLE_PITCH * mm, width, HOLE_PITCH * mm):
                y = top + edge * mm
                draw.rounded_rectangle((x, y, x + HOLE[0] * mm, y + HOLE[1] * mm), 0.5 * mm, fill=255)
    open_ = mask(scene.shape, holes)
    scene = scene * (1 - open_) + OPEN * open_
    y = round(top + (FILM - HEIGHT) / 2 * mm)
    for i, frame in enumerate(frames):
        picture = s.negative(sized(frame, WIDTH * mm, HEIGHT * mm), film, seed=seed + i)
        x = round(width / 2 - WIDTH / 2 * mm + (i - len(frames) // 2) * (WIDTH + GAP) * mm)
        left, right = max(x, 0), min(x + picture.shape[1], width)
        scene[y:y + picture.shape[0], left:right] = picture[:, left - x:right - x]
    return laid(scene, size, degrees, OPEN, seed)


def mounted(light, size, share, degrees, seed=1):
    """A slide (light behind it) whose picture takes this share of the scan's width, in a mount with round corners."""
    width, height = (FINER * side for side in size)
    picture = sized(light, share * width, share * width * HEIGHT / WIDTH)
    h, w = picture.shape[:2]
    hole = mask((h, w), lambda draw: draw.rounded_rectangle((0, 0, w - 1, h - 1), 0.03 * h, fill=255))
    scene = np.full((height, width, 3), OPAQUE)
    y, x = (height - h) // 2, (width - w) // 2
    scene[y:y + h, x:x + w] = picture * hole + OPAQUE * (1 - hole)
    return laid(scene, size, degrees, OPAQUE, seed)


def on_lid(light, size, share, degrees, lid, seed=1):
    """A print with a white border, which takes this share of the scan, before a lid of this light."""
    width, height = (FINER * side for side in size)
    scale = share * min(width / light.shape[1], height / light.shape[0])
    picture = sized(light, scale * light.shape[1], scale * light.shape[0])
    h, w = picture.shape[:2]
    scene = np.full((height, width, 3), lid)
    y, x = (height - h) // 2, (width - w) // 2
    border = round(0.04 * max(w, h))
    # A pale shadow where the paper ends.
    scene[y - border:y + h + border + 6, x - border:x + w + border + 6] *= 0.7
    scene[y - border:y + h + border, x - border:x + w + border] = np.array([1, 0.97, 0.90]) * PAPER
    scene[y:y + h, x:x + w] = picture
    return laid(scene, size, degrees, lid, seed)
