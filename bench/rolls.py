#!/usr/bin/env python3
"""What it is worth to finish a roll of film, or a box of faded prints or slides, together.

Makes whole scans of the given photographs by calculation (films, fading, lights and exposures drawn at random, grain,
photon noise, 8 bits; with --surroundings film has its clear border and a holder, a slide its mount, a print the lid),
lets the library finish them one by one, with the settings of the first for all, with the average settings for all, and
jointly in groups, and prints a Markdown table for each kind: mean CIEDE2000 of the pictures to their originals, the
worst picture, the share above 10, and the spread: how far the mean a*, b* error of a picture lies from that of its roll
(rms). Rolls are cut into groups, so that all rows are of the same scans. Then a table of rolls and boxes that are none:
two films in one, lamps, blanks, any scatter of the fading; together must not be worse there than one by one by more
than 0.1 in the mean. --known adds what the truth would give: groups of 8 finished with the film that was simulated, or
with the mean history of the eight, in place of what was found; and colour film with each frame's light known, too.
Needs numpy, Pillow, SciPy and scikit-image. Everything takes half an hour, --quick two minutes.

Exit status: 0; 1 with --limits where a goal of docs/rolls.md is missed; 2 when something is missing."""
import argparse
import ctypes
import json
import sys
from concurrent.futures import ProcessPoolExecutor
from pathlib import Path
from typing import NamedTuple

import numpy as np
from PIL import Image
from scipy.optimize import least_squares
from skimage.color import deltaE_ciede2000, rgb2lab

REPOSITORY = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(REPOSITORY / "scripts/docs_pictures"))
import simulate as s  # noqa: E402

GROUPS = (1, 2, 4, 8, 24)
SIDE = 360          # pixels of a picture's longer side
JUDGED = 4          # pixels of a block that is judged, each way: grain is none of the engine's business
WORSE = 0.1         # CIEDE2000 by which together may be worse than one by one
FILM = ("negative", "faded-negative", "bw-negative", "faded-bw-negative")
BOXES = ("faded-print", "faded-slide")
STRESS = (          # name, kinds, what is otherwise
    ("losses equal", BOXES, {"scatter": 0.0}),
    ("losses scattered by 25 %", BOXES, {"scatter": 0.25}),
    ("losses scattered by 50 %", BOXES, {"scatter": 0.5}),
    ("losses scattered by 100 %", BOXES, {"scatter": 1.0}),
    ("half from another film or box", FILM + BOXES, {"other": 0.5}),
    ("half by lamp light", FILM[:2], {"lights": "half"}),
    ("all by lamp light", FILM[:3], {"lights": "lamp"}),
    ("half blank", FILM + BOXES, {"blank": 0.5}),
)
GOALS = {"negative": (0.88, 0.7), "bw-negative": (0.85, None), "faded-print": (0.70, 0.6), "faded-slide": (0.60, 0.6)}
CAMERA_FLARE = 0.004
LEVELS = 18         # gamma of the scans, tenths: linear levels
STATE, PARA, TONE, IMAGE, EVIDENCE, OBSERVATION, SHARED = 8, 248, 264, 112, 1024, 640, 512  # bytes of the records
KNOWN = 8           # originals of a group that is finished with what is true
# Words of what is shared.
FRAMES, BASE, SLOPE, TOE, BALANCE, CONTRAST, RANGE, COST, SPREAD, OFFSET, DYE, SCATTER = (
    2, slice(4, 7), slice(7, 10), slice(10, 13), slice(13, 16), 16, 17, 19, 20, slice(21, 24), slice(24, 27), 28)
POINTS = slice(16 // 8, 16 // 8 + 15)  # of a record in words: five for each channel


# ---- the library ----------------------------------------------------------------------------------------------------

class Library:
    """The calls on plain buffers of the records' sizes."""

    def __init__(self, path):
        self.call = ctypes.CDLL(str(path))
        self.call.GetZEP3Chroma.restype = ctypes.c_double
        self.matrix = (ctypes.c_double * 9)(1, 0, 0, 0, 1, 0, 0, 0, 1)

    def record(self, kind):
        para, master, rgb = (ctypes.create_string_buffer(n) for n in (PARA, TONE, 3 * TONE))
        self.call.ResetZEP3(para, master, rgb)
        assert self.call.SetZEP3Kind(para, kind.encode())
        return para, master, rgb

    def image(self, scan):
        image = ctypes.create_string_buffer(IMAGE)
        self.call.SetZEP3Image(image, scan.ctypes.data_as(ctypes.c_void_p), *(ctypes.c_int64(n) for n in (
            scan.shape[1], scan.shape[0], 0, 0, 24)))
        return image

    def observe(self, scan, kind):
        seen = ctypes.create_string_buffer(OBSERVATION)
        assert self.call.ObserveZEP3(self.image(scan), self.record(kind)[0], self.matrix, seen)
        return seen.raw

    def solve(self, seen):
        """-> what is shared, or None; the members"""
        shared, member = ctypes.create_string_buffer(SHARED), (ctypes.c_int64 * len(seen))()
        ok = self.call.SolveZEP3Shared(b"".join(seen), ctypes.c_int64(len(seen)), shared, member)
        return (shared.raw if ok else None), list(member)

    def analyse(self, scan, kind, shared=None):
        """-> the record, and the confidence"""
        record, evidence = self.record(kind), ctypes.create_string_buffer(EVIDENCE)
        image = self.image(scan)
        if shared is None:
            assert self.call.ZEP3Adaptive(image, record[0], self.matrix, evidence)
        else:
            assert self.call.ZEP3Shared(image, record[0], self.matrix, shared, evidence)
        return record, float(np.frombuffer(evidence.raw, np.float64)[2])

    def finish(self, scan, record):
        """-> sRGB, 8 bits"""
        para, table = ctypes.create_string_buffer(record[0].raw, PARA), np.zeros((3, 256), np.uint16)
        pointer = table.ctypes.data_as(ctypes.c_void_p)
        assert self.call.MakeZEP3ScanLUT(para, self.matrix, ctypes.c_int64(LEVELS), ctypes.c_int64(256), pointer)
        return self.through(table, scan, record)

    def through(self, table, scan, record):
        """The scan by a table of 16-bit sRGB for each channel, with the record's saturation."""
        out, pointer = scan.copy(), table.ctypes.data_as(ctypes.c_void_p)
        chroma = ctypes.c_double(self.call.GetZEP3Chroma(record[0]))
        assert self.call.ApplyZEP3ScanLUT(self.image(out), pointer, chroma)
        return out


def averaged(records):
    """The first record with the mean points of all."""
    words = [np.frombuffer(r[0].raw, np.int64).copy() for r in records]
    words[0][POINTS] = np.rint(np.mean([w[POINTS] for w in words], 0)).astype(np.int64)
    return (ctypes.create_string_buffer(words[0].tobytes(), PARA), *records[0][1:])


# ---- scans ----------------------------------------------------------------------------------------------------------

class Scan(NamedTuple):
    levels: np.ndarray  # the whole scan, linear levels
    frame: tuple        # left, top, right, bottom of the picture in it
    truth: np.ndarray   # light of the picture
    own: tuple          # what is its own: kelvin and stops; the losses and the stain


def some_picture(rng, paths):
    """A part of a photograph, as light; one in two mirrored."""
    size = rng.uniform(0.7, 1.0)
    left, top = rng.uniform(0, 1 - size, 2)
    light = s.read(paths, SIDE, (left, top, left + size, top + size))
    return light[:, ::-1] if rng.uniform() < 0.5 else light


def some_film(rng, films, mono):
    """Between two of the films, scattered as films of different makers are."""
    names = [n for n in sorted(films) if ("sees" in films[n]) == mono]
    a, b = (films[names[rng.integers(len(names))]] for _ in range(2))
    share, wide = rng.uniform(), 1.0 if len(names) == 1 else 0.4
    layers = []
    contrast = rng.normal(0.03, 0.07 * wide)
    for i, (one, other) in enumerate(zip(a["layers"], b["layers"])):
        c, speed, toe, shoulder, width = share * np.array(one) + (1 - share) * np.array(other)
        own = rng.normal(0, 1, 3)
        layers.append((c * np.exp(contrast + 0.03 * wide * own[0]), speed + (0.04, 0.0, 0.07)[i] * wide * own[1],
                       toe * np.exp(0.2 * wide * own[2]), shoulder, width))
    film = {"layers": layers, "base": share * np.array(a["base"]) + (1 - share) * np.array(b["base"])
            + rng.normal(0, 0.03, 3) * (0.3 if mono else 1.0)}
    if mono:
        film["sees"] = a["sees"]
    else:
        film["crosstalk"] = share * np.array(a["crosstalk"]) + (1 - share) * np.array(b["crosstalk"])
        film["interimage"] = a["interimage"]
    return film


def some_light(rng, lights):
    """Kelvin: sun and flash, clouds and shade, lamps."""
    r = {"day": 0.0, "lamp": 1.0, "half": 0.0 if rng.uniform() < 0.5 else 1.0}.get(lights, rng.uniform())
    if r < 0.65:
        return 1e6 / (1e6 / s.DAYLIGHT + rng.normal(0, 10))
    return rng.uniform(6200, 8500) if r < 0.82 else rng.uniform(2700, 3500)


class Roll:
    """A film, how it aged, and a setting of the scanner."""

    def __init__(self, rng, kind, options):
        self.mono, self.faded, self.options = "bw" in kind, kind.startswith("faded"), options
        self.film = some_film(rng, options.films, self.mono)
        self.mode = rng.integers(3)
        self.stray = rng.choice([0.001, 0.002, 0.004])
        self.stops = rng.normal(0.3, 0.5)
        self.lost = np.zeros(3)
        base = np.array(self.film["base"])
        if self.faded:
            self.lost = rng.uniform([0.05, 0.02, 0.05], [0.5, 0.35, 0.5])
            if self.mono:
                self.lost[:] = self.lost[0]
            base = base * (1 - (0 if self.mono else rng.uniform(0, 0.25)))
            base = base + rng.uniform(0, 0.15) * np.array([0.35, 0.6, 1.0]) + rng.uniform(0, 0.06)
        self.base = base
        clear = 10.0 ** -base
        self.gain = (np.full(3, 0.95), np.sqrt(0.95 * 0.80 / clear), 0.80 / clear)[self.mode]

    def densities(self, light, kelvin, stops):
        """Above the base."""
        film, layers = self.film, self.film["layers"]
        mid = np.mean([s.speed_point(layer) for layer in layers]) + 0.85
        exposed = light * s.lamp(kelvin)
        if self.mono:
            exposed = (exposed @ np.array(film["sees"]))[..., None]
        x = mid + np.log10((exposed * (1 - CAMERA_FLARE) + CAMERA_FLARE) / s.MID_GRAY) + stops * np.log10(2)
        amounts = np.stack([s.response(x[..., i], layer) for i, layer in enumerate(layers)], -1)
        contrast = np.array([layer[0] for layer in layers])
        if self.mono:
            return np.repeat(amounts * contrast * (1 - self.lost[0]), 3, -1)
        b = film["interimage"]
        amounts = np.maximum(amounts @ (np.eye(3) * (1 + 3 * b) - b).T, 0)
        return ((amounts * (1 - self.lost)) @ np.array(film["crosstalk"]).T) * contrast

    def scan(self, rng, light, blank=False):
        kelvin = some_light(rng, self.options.lights)
        stops = np.clip(self.stops + rng.normal(0, self.options.stops), -2, 3)
        truth = np.repeat((light @ np.array(self.film["sees"]))[..., None], 3, -1) if self.mono else light
        net = self.densities(light, kelvin, stops)
        if blank:
            net = net * 0
        grain = rng.standard_normal(net.shape[:2] + (1 if self.mono else 3,))
        density = self.base + np.maximum(net + 0.010 * np.sqrt(net + 0.05) * grain, 0)
        border = (rng.uniform(0.02, 0.06), rng.uniform(0.02, 0.06)) if self.options.surroundings else (0, 0)
        clear, dark = (int(b * SIDE) for b in border)
        density = framed(density, clear, self.base)
        through = framed(10.0 ** -density * self.gain, dark, 0.0)
        through = through * (1 - self.stray) + self.stray * through.mean((0, 1))
        return scanned(rng, through, truth, clear + dark, (kelvin, stops))


class Box:
    """What time did to originals that lay together."""

    def __init__(self, rng, kind, options):
        self.material, self.options = kind.split("-")[1], options
        self.lost = rng.uniform([0.05, 0.03, 0.05], [0.55, 0.35, 0.5])
        tone = np.array([0.18, 0.42, 1.0]) * np.exp(rng.normal(0, 0.25, 3))
        self.stain = rng.uniform(0.0, 0.28 if self.material == "print" else 0.15) * tone

    def scan(self, rng, light, blank=False):
        scatter = self.options.scatter
        common = np.exp(rng.normal(0, scatter)) * np.exp(rng.normal(0, scatter / 3, 3))
        lost = np.clip(1 - (1 - self.lost) ** common, 0, 0.75)
        stain = self.stain * np.exp(rng.normal(0, scatter))
        dyes, flare = s.DYES[self.material], s.FLARE[self.material]
        density = -np.log10((light * 0 + 1 if blank else light) * (1 - flare) + flare)
        amounts = np.maximum(density @ np.linalg.inv(dyes).T, 0)
        through = 10.0 ** -(density - (amounts * lost) @ dyes.T + stain + s.BASE[self.material])
        border = int(rng.uniform(0.04, 0.12) * SIDE) if self.options.surroundings else 0
        around = 0.002 if self.material == "slide" else (0.9, 0.02)[rng.integers(2)]
        return scanned(rng, framed(through, border, around), light, border, (lost, stain))


def framed(array, width, value):
    height, length = array.shape[:2]
    out = np.empty((height + 2 * width, length + 2 * width, 3))
    out[:] = value
    out[width:width + height, width:width + length] = array
    return out


def scanned(rng, through, truth, border, own):
    through = through + np.sqrt(np.maximum(through, 0) / 20000 + 4e-8) * rng.standard_normal(through.shape)
    levels = s.to8(np.clip(through, 0, 1) ** (10 / LEVELS))
    height, width = truth.shape[:2]
    return Scan(np.ascontiguousarray(levels), (border, border, border + width, border + height), truth, own)


# ---- what the truth would give --------------------------------------------------------------------------------------

class TrueFilm:
    """A simulated film as the engine describes one: base, and for each channel the slope and the toe of the curve, and
    the exposure of a neutral by daylight."""

    def __init__(self, roll, scans):
        self.roll = roll
        self.stray = roll.stray * np.mean([self.light(scan.levels).mean((0, 1)) for scan in scans], 0)
        clear = self.through(0)
        self.base = 255 * clear ** (10 / LEVELS)
        # Grays from a hundredth of white on, by daylight, about the roll's usual exposure.
        exposure = np.linspace(-2.2, 0.3, 60)
        densities = self.seen(exposure, s.DAYLIGHT, roll.stops)
        fits = [least_squares(lambda v, n=n: film_exposure(n, *np.exp(v[:2])) - v[2] - exposure,
                              [np.log(0.55), np.log(0.2), 2.0], loss="soft_l1", f_scale=0.05).x for n in densities.T]
        self.slope, self.toe = (np.array([np.exp(fit[i]) for fit in fits]) for i in range(2))
        self.neutral = np.array([fit[2] for fit in fits])
        self.balance = self.neutral - self.neutral[1]

    @staticmethod
    def light(levels):
        return (levels / 255.0) ** (LEVELS / 10)

    def through(self, net):
        return 10.0 ** -(self.roll.base + net) * self.roll.gain * (1 - self.roll.stray) + self.stray

    def seen(self, exposure, kelvin, stops):
        """Densities above the base of grays, whose light is 10^exposure, as the scanner has them."""
        gray = (10.0 ** exposure - CAMERA_FLARE) / (1 - CAMERA_FLARE)
        net = self.roll.densities(np.repeat(gray[:, None], 3, -1), kelvin, stops)
        return -np.log10(self.through(net) / self.through(0))

    def laid_into(self, shared):
        """What is shared with this film, of which every frame is one. Of monochrome film the engine keeps the slope as
        it usually is, and has the rest in the contrast."""
        words = np.frombuffer(shared, np.float64).copy()
        contrast = words[SLOPE][1] / self.slope[1] if self.roll.mono else 1.0
        words.view(np.int64)[FRAMES] = 2  # too few for one to be odd
        words[BASE], words[SLOPE], words[TOE] = self.base, self.slope * contrast, self.toe / contrast
        words[BALANCE] = 0 if self.roll.mono else self.balance
        words[CONTRAST], words[RANGE] = contrast, -10.0
        words[COST] = words[SPREAD] = 0
        return words.tobytes()

    def table(self, scan):
        """What prints a frame whose light is known, too: its lightest 0.1 % as nearly white."""
        gray = np.linspace(-1.5, 0, 30)
        light = [np.median(film_exposure(n, self.slope[c], self.toe[c]) - gray)
                 for c, n in enumerate(self.seen(gray, *scan.own).T)]

        def exposures(levels):
            density = -np.log10(np.maximum(1e-4, self.light(levels)) / self.through(0))
            return film_exposure(density, self.slope, self.toe) - light
        left, top, right, bottom = scan.frame
        picture = blocks(self.light(scan.levels[top:bottom, left:right])) ** (10 / LEVELS) * 255
        white = np.percentile(exposures(picture).max(-1), 99.9) + 0.03
        printed = 10.0 ** (exposures(np.arange(256.0)[:, None]) - white)
        return np.ascontiguousarray(np.rint(s.display_value(printed).T * 65535).astype(np.uint16))


def film_exposure(density, slope, toe):
    return toe * np.log(np.expm1(np.maximum(0.01, density) / slope / toe))


def true_history(shared, box, scans):
    """What is shared with the mean history of the originals, which are as unequal as usual."""
    words = np.frombuffer(shared, np.float64).copy()
    lost, stain = (np.array([scan.own[i] for scan in scans]) for i in range(2))
    words[OFFSET] = stain.mean(0) + s.BASE[box.material]
    words[DYE] = np.exp(np.log(1 - lost).mean(0))
    words[SCATTER] = 1.0
    return words.tobytes()


# ---- judging --------------------------------------------------------------------------------------------------------

def blocks(light):
    height, width = (n // JUDGED * JUDGED for n in light.shape[:2])
    return light[:height, :width].reshape(height // JUDGED, JUDGED, width // JUDGED, JUDGED, 3).mean((1, 3))


def lab(light):
    return rgb2lab(s.display(light).astype(np.float64) / 255)


def judged(picture, scan):
    """-> CIEDE2000, mean a* and b* error of what is neither dark nor white"""
    left, top, right, bottom = scan.frame
    ours, truth = lab(blocks(s.light(picture[top:bottom, left:right]))), lab(blocks(scan.truth))
    seen = (truth[..., 0] > 20) & (truth[..., 0] < 97)
    seen = seen if seen.sum() > 50 else np.ones_like(seen)
    cast = (ours - truth)[seen].mean(0)
    return float(deltaE_ciede2000(ours, truth).mean()), float(cast[1]), float(cast[2])


def one_roll(job):
    """-> for each method the judged pictures of one roll, by number; what the members were; the confidences"""
    seed, kind, options = job
    library = Library(options.library)
    rng = np.random.default_rng([options.seed, seed])
    make = Box if kind.split("-")[-1] in ("print", "slide") else Roll
    first, other = make(rng, kind, options), make(rng, kind, options)
    if make is Roll:
        other.gain = first.gain  # one setting of the scanner
    names = [options.photos[i % len(options.photos)] for i in rng.permutation(max(options.frames, len(options.photos)))]
    scans, what = [], []
    for i in range(options.frames):
        r = rng.uniform()
        what.append("blank" if r < options.blank else "other" if r > 1 - options.other else "own")
        scans.append((other if what[-1] == "other" else first).scan(rng, some_picture(rng, names[i]), what[-1] == "blank"))
    levels = [scan.levels for scan in scans]
    seen = [library.observe(scan, kind) for scan in levels]
    alone = [library.analyse(scan, kind) for scan in levels]
    told, members, sure = {}, {}, []

    def tell(method, i, record):
        if what[i] != "blank":
            told.setdefault(method, {})[i] = judged(library.finish(levels[i], record), scans[i])
    average = averaged([record for record, _ in alone])
    for i in range(options.frames):
        tell("one by one", i, alone[i][0])
        tell("the first one's settings", i, alone[0][0])
        tell("average settings", i, average)
        if make is Box and what[i] != "blank":
            unfinished = s.display((levels[i] / 255.0) ** (LEVELS / 10))
            told.setdefault("as scanned", {})[i] = judged(unfinished, scans[i])
    for size in options.groups:
        for start in range(0, options.frames, size):
            group = range(start, min(start + size, options.frames))
            shared, member = library.solve([seen[i] for i in group])
            for k, i in enumerate(group):
                record, confidence = library.analyse(levels[i], kind, shared) if shared else alone[i]
                tell(f"together, {size}", i, record)
                if size == max(options.groups):
                    members[(what[i], member[k])] = members.get((what[i], member[k]), 0) + 1
                    if what[i] != "blank":
                        sure.append((confidence, told[f"together, {size}"][i][0]))
            if shared and options.known and size == KNOWN and not options.other:
                some = [scans[i] for i in group if what[i] == "own"]
                film = TrueFilm(first, some) if make is Roll else None
                true = film.laid_into(shared) if film else true_history(shared, first, some)
                for i in (i for i in group if what[i] == "own"):
                    record, _ = library.analyse(levels[i], kind, true)
                    tell(f"{size}, {'film' if film else 'box'} known", i, record)
                    if film and not first.mono:
                        told.setdefault(f"{size}, film and light known", {})[i] = judged(
                            library.through(film.table(scans[i]), levels[i], record), scans[i])
    return told, members, sure


def spread(pictures):
    casts = np.array([p[1:] for p in pictures])
    return float(np.sqrt(((casts - casts.mean(0)) ** 2).sum(1).mean()))


def table(kind, results, options):
    """Prints it; -> whether the goals are met"""
    print(f"\n**{kind}**: {options.rolls} rolls of {options.frames}, seed {options.seed}"
          + (", with surroundings" if options.surroundings else "") + "\n")
    print("| | mean | median | worst | above 10 | spread |\n|---|---|---|---|---|---|")
    rows = {}
    for method in results[0][0]:
        rolls = [list(told[method].values()) for told, _, _ in results]
        errors = np.array([p[0] for roll in rolls for p in roll])
        rows[method] = errors.mean(), np.mean([spread(roll) for roll in rolls])
        print(f"| {method} | {errors.mean():.2f} | {np.median(errors):.2f} | {errors.max():.1f} "
              f"| {100 * np.mean(errors > 10):.0f} % | {rows[method][1]:.1f} |")
    counts = {}
    for _, members, _ in results:
        for key, n in members.items():
            counts[key] = counts.get(key, 0) + n
    print("\nMembers: " + ", ".join(f"{what} {({1: 'in', 0: 'blank', -1: 'odd'})[m]} {n}"
                                    for (what, m), n in sorted(counts.items())))
    sure = np.array([v for _, _, pairs in results for v in pairs])
    if len(sure):
        good = sure[:, 1] < 2 * np.median(sure[:, 1])
        print(f"Confidence {sure[:, 0].mean():.2f}; within twice the usual error {good.mean():.2f}")
    if kind not in GOALS or "together, 8" not in rows:
        return True
    error, width = (rows["together, 8"][i] / rows["one by one"][i] for i in range(2))
    most_error, most_width = GOALS[kind]
    print(f"Of 8 against one by one: error {error:.2f} (goal {most_error}), spread {width:.2f} (goal {most_width or '-'})")
    return error <= most_error and (most_width is None or width <= most_width)


def stressed(pool, kinds, options):
    """Prints a table of rolls and boxes that are none; -> whether none of them is worse than one by one"""
    sizes = [n for n in options.groups if n >= 8] or [max(options.groups)]
    print("\n**Rolls and boxes that are none**\n\n| | | one by one | " + " | ".join(f"together, {n}" for n in sizes)
          + " | worse by |\n|---|---|---|" + "---|" * (len(sizes) + 1))
    met = True
    for name, of, changes in STRESS:
        fixed = {"groups": sizes, "surroundings": False, "known": False}
        setting = argparse.Namespace(**{**vars(options), **fixed, **changes})
        for kind in (k for k in of if k in kinds):
            results = list(pool.map(one_roll, [(i, kind, setting) for i in range(options.rolls)]))
            means = [np.mean([p[0] for told, _, _ in results for p in told[method].values()])
                     for method in ["one by one"] + [f"together, {n}" for n in sizes]]
            worse = max(means[1:]) - means[0]
            met = met and worse <= WORSE
            print(f"| {name} | {kind} | " + " | ".join(f"{m:.2f}" for m in means)
                  + f" | {worse:+.2f}{'' if worse <= WORSE else ' **missed**'} |", flush=True)
    return met


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("photos", nargs="+", type=Path, help="photographs, or folders of them")
    parser.add_argument("--library", type=Path, default=REPOSITORY / "build/release/libzep3.so")
    parser.add_argument("--kind", action="append", help="again for more; default: all six")
    parser.add_argument("--rolls", type=int, default=4)
    parser.add_argument("--frames", type=int, default=24, help="of a roll")
    parser.add_argument("--groups", type=int, nargs="+", default=GROUPS, help="that are finished together")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--films", type=Path, help="JSON of other films, as FILMS of simulate.py has them")
    parser.add_argument("--lights", choices=("mixed", "day", "lamp", "half"), default="mixed")
    parser.add_argument("--stops", type=float, default=0.7, help="scatter of the exposures")
    parser.add_argument("--scatter", type=float, default=0.25, help="of the fading within a box")
    parser.add_argument("--other", type=float, default=0.0, help="share of frames of another film or fading")
    parser.add_argument("--blank", type=float, default=0.0, help="share of blank frames")
    parser.add_argument("--surroundings", choices=("without", "with", "both"), default="both")
    parser.add_argument("--stress", choices=("without", "with", "only"), default="with",
                        help="the table of rolls that are none")
    parser.add_argument("--known", action="store_true", help="what the true film, light or history would give, too")
    parser.add_argument("--quick", action="store_true", help="small: two rolls of 8, without surroundings")
    parser.add_argument("--workers", type=int, default=1)
    parser.add_argument("--limits", action="store_true", help="fail where a goal is missed")
    options = parser.parse_args()
    if options.quick:
        options.rolls, options.frames, options.groups, options.surroundings = 2, 8, (1, 2, 4, 8), "without"
    options.films = json.loads(options.films.read_text()) if options.films else s.FILMS
    options.photos = sorted(f for p in options.photos for f in ([p] if p.is_file() else p.rglob("*"))
                            if f.suffix.lower() in (".png", ".jpg", ".jpeg"))
    if not options.photos or not options.library.exists():
        print(f"no photographs, or no {options.library}", file=sys.stderr)
        return 2
    kinds = options.kind or FILM + BOXES
    around = {"without": (False,), "with": (True,), "both": (False, True)}[options.surroundings]
    met = True
    with ProcessPoolExecutor(options.workers) as pool:
        for options.surroundings in around if options.stress != "only" else ():
            for kind in kinds:
                results = list(pool.map(one_roll, [(i, kind, options) for i in range(options.rolls)]))
                met = table(kind, results, options) and met
                sys.stdout.flush()
        if options.stress != "without":
            met = stressed(pool, kinds, options) and met
    return 1 if options.limits and not met else 0


if __name__ == "__main__":
    sys.exit(main())
