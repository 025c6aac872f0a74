"""Old originals by calculation: fades prints and slides, exposes and develops negatives, and scans them.

Pictures are arrays (height, width, 3) of linear sRGB light, 0 to 1. Scans are sRGB of 8 bits, as which zep3 takes a
file without a profile. Densities are -log10 of light.
"""
import io

import numpy as np
from PIL import Image

DAYLIGHT = 5500.0  # kelvin
MID_GRAY = 0.18    # light of a metered gray

# Rows: density in red, green, blue light; columns: one unit of cyan, magenta, yellow dye.
DYES = {
    "print": np.array([[1.00, 0.10, 0.01], [0.22, 1.00, 0.08], [0.10, 0.24, 1.00]]),
    "slide": np.array([[1.00, 0.08, 0.01], [0.18, 1.00, 0.10], [0.09, 0.20, 1.00]]),
}
BASE = {"print": 0.04, "slide": 0.10}   # density of paper and of clear film
FLARE = {"print": 0.006, "slide": 0.001}  # light that a scan's darkest parts reflect or stray

# Shares lost of the cyan, magenta and yellow dye, and the stain's density in red, green and blue.
HISTORIES = {
    "unfaded": ((0.0, 0.0, 0.0), (0.0, 0.0, 0.0)),
    "cast": ((0.0, 0.0, 0.0), (0.08, 0.14, 0.16)),          # scanned too dark, and too warm
    "dull": ((0.0, 0.0, 0.0), (0.20, 0.15, 0.12)),          # scanned too dark, and too cold
    "dark": ((0.40, 0.10, 0.15), (0.02, 0.05, 0.15)),       # a print kept in the dark
    "heavy": ((0.55, 0.25, 0.30), (0.04, 0.10, 0.22)),      # the same, longer or warmer
    "yellowed": ((0.10, 0.10, 0.10), (0.05, 0.12, 0.30)),   # dyes mostly there, the paper stained
    "slide-dark": ((0.35, 0.08, 0.30), (0.01, 0.03, 0.06)),
    "slide-heavy": ((0.55, 0.20, 0.50), (0.02, 0.06, 0.10)),
    "film": ((0.15, 0.08, 0.20), (0.02, 0.03, 0.05)),       # a colour negative, mildly
    "film-heavy": ((0.40, 0.15, 0.35), (0.05, 0.08, 0.15)),
    "bw-stained": ((0.35, 0.35, 0.35), (0.08, 0.14, 0.28)),
}

# Films: base density; for each layer contrast, speed point and toe width (log10 exposure), shoulder and its width; what
# the scanner's channels see of each dye; how far a layer holds back its neighbours. The colour film is reduced from
# "Film Scan Calibration" by OwlMightyCh (CC BY 4.0, see samples/README.md).
FILMS = {
    "colour": {
        "base": (0.212, 0.635, 0.796),
        "layers": ((0.553, -2.660, 0.183, 3.524, 0.065), (0.560, -2.719, 0.119, 3.455, 1.0),
                   (0.638, -2.848, 0.136, 3.771, 0.041)),
        "crosstalk": ((0.848, 0.134, 0.018), (0.115, 0.730, 0.155), (0.056, 0.023, 0.921)),
        "interimage": 0.06,
    },
    "mono": {
        "base": (0.28, 0.27, 0.28),
        "layers": ((0.62, -2.3, 0.2, 0.9, 0.3),),
        "sees": (0.30, 0.45, 0.25),  # weights of red, green and blue light
    },
}


def light(values, gamma=None):
    """Display values 0..255 -> light; sRGB without a gamma."""
    v = np.asarray(values, dtype=np.float64) / 255
    if gamma:
        return v ** gamma
    return np.where(v <= 0.04045, v / 12.92, ((v + 0.055) / 1.055) ** 2.4)


def display(linear):
    """Light -> sRGB, 8 bits."""
    return to8(display_value(linear))


def display_value(linear):
    """Light -> sRGB, 0 to 1."""
    v = np.clip(linear, 0, 1)
    return np.where(v <= 0.0031308, v * 12.92, 1.055 * v ** (1 / 2.4) - 0.055)


def to8(v):
    return np.clip(np.floor(np.asarray(v) * 255 + 0.5), 0, 255).astype(np.uint8)


def read(path, size, crop=None):
    """A photograph as light: `crop` is left, top, right, bottom in shares of it, `size` the longer side in pixels."""
    image = Image.open(path).convert("RGB")
    if crop:
        w, h = image.size
        image = image.crop((int(crop[0] * w), int(crop[1] * h), int(crop[2] * w), int(crop[3] * h)))
    scale = size / max(image.size)
    if scale < 1:
        image = image.resize((round(image.width * scale), round(image.height * scale)), Image.LANCZOS)
    return light(np.asarray(image))


def scanned(transmitted, seed=1):
    """Light at the sensor -> scan with photon noise."""
    noise = np.random.default_rng(seed).standard_normal(transmitted.shape)
    seen = transmitted + noise * np.sqrt(np.maximum(transmitted, 0) / 20000 + 4e-8)
    return display(seen)


def positive(linear, material, history):
    """A print or a slide ("print", "slide") with one of the HISTORIES, as light at the sensor."""
    dyes, flare = DYES[material], FLARE[material]
    lost, stain = (np.array(v) for v in HISTORIES[history])
    density = -np.log10(linear * (1 - flare) + flare)
    amounts = np.maximum(density @ np.linalg.inv(dyes).T, 0)
    return 10 ** -(density - (amounts * lost) @ dyes.T + stain + BASE[material])


def softplus(x, width):
    return width * np.logaddexp(0, x / width)


def response(x, layer):
    """Density over contrast of a layer at log10 exposure x: toe, straight line, shoulder."""
    _, speed, toe, shoulder, width = layer
    return softplus(x - speed, toe) - softplus(x - shoulder, width)


def speed_point(layer):
    """The log10 exposure at density 0.15 above the base."""
    x = np.linspace(layer[1] - 1.5, layer[1] + 1.5, 3001)
    return np.interp(0.15, layer[0] * response(x, layer), x)


def lamp(kelvin):
    """Exposure of the red, green and blue layer by a black body, relative to daylight, green as 1."""
    def planck(t):
        metres = np.array([640e-9, 545e-9, 450e-9])
        return 1 / (metres ** 5 * (np.exp(1.438777e-2 / (metres * t)) - 1))
    gain = planck(kelvin) / planck(DAYLIGHT)
    return gain / gain[1]


def negative(linear, film, stops=0.0, kelvin=DAYLIGHT, history="unfaded", border=0.0, holder=0.0, seed=1):
    """A negative as light at the sensor. `border` (clear film) and `holder` (black) are shares of the longer side."""
    film = FILMS[film]
    lost, stain = (np.array(v) for v in HISTORIES[history])
    layers = film["layers"]
    contrast = np.array([layer[0] for layer in layers])
    mid = np.mean([speed_point(layer) for layer in layers]) + 0.85
    exposed = linear * lamp(kelvin)
    if "sees" in film:
        exposed = (exposed @ np.array(film["sees"]))[..., None]
    x = mid + np.log10((exposed * 0.996 + 0.004) / MID_GRAY) + stops * np.log10(2)
    amounts = np.stack([response(x[..., i], layer) for i, layer in enumerate(layers)], -1)
    if "sees" in film:
        net = np.repeat(amounts * contrast * (1 - lost[0]), 3, -1)
    else:
        b = film["interimage"]
        amounts = np.maximum(amounts @ (np.eye(3) * (1 + 3 * b) - b).T, 0)
        net = ((amounts * (1 - lost)) @ np.array(film["crosstalk"]).T) * contrast
    base = np.array(film["base"]) + stain
    grain = np.random.default_rng(seed + 1).standard_normal(net.shape if len(layers) == 3 else net.shape[:2] + (1,))
    net = net + 0.006 * np.sqrt(np.maximum(net, 0) + 0.05) * grain
    longer = max(net.shape[:2])
    net = np.pad(net, [(round(border * longer),) * 2] * 2 + [(0, 0)])
    # The lamp is set between what keeps white open and what makes the clear base light.
    through = 10 ** -(net + base) * np.sqrt(0.95 * 0.80 / 10 ** -np.array(film["base"]))
    through = 0.998 * through + 0.002 * through.mean(axis=(0, 1))
    return np.pad(through, [(round(holder * longer),) * 2] * 2 + [(0, 0)])


def save(path, values, quality=88):
    """8-bit values as JPEG, or by the name's ending."""
    out = io.BytesIO()
    image = Image.fromarray(values)
    if path.suffix == ".jpg":
        image.save(out, "JPEG", quality=quality, optimize=True, subsampling=0 if quality > 90 else 2)
    else:
        image.save(out, "PNG", optimize=True)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(out.getvalue())
