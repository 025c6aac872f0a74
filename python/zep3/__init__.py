"""Automatic exposure and colour correction of scans, on arrays of numpy.

    finished = zep3.correct(scan, "faded-slide")

Scans are arrays of uint8 or uint16: (height, width), or (height, width, n) with n = 1 gray, 2 gray and alpha, 3 red,
green, blue, 4 with alpha. Alpha stays as it is. They are read where they lie if the pixels of a line are neighbours,
whatever the lines do, read-only or not; others, and those in the other byte order, are copied first.

Python's lock is released while the library works. Calls on different objects may run at the same time; a Correction may
be applied by any number of threads, as long as nobody changes it meanwhile.
"""

from __future__ import annotations

from typing import Any, NamedTuple, Optional, Sequence

import numpy as np
import numpy.typing as npt

from zep3 import _core
from zep3._core import (
    Correction,
    Kind,
    Member,
    Observation,
    Points,
    Settings,
    Shared,
    Verdict,
    gray,
    kind_text,
    measurements,
    profile_gamma,
)

__all__ = [
    "Correction",
    "Kind",
    "Measurement",
    "Member",
    "Observation",
    "Points",
    "Reason",
    "Roll",
    "Settings",
    "Shared",
    "Verdict",
    "analyse",
    "apply",
    "correct",
    "gray",
    "kind_text",
    "measurements",
    "profile_gamma",
    "tables",
]

Array = npt.NDArray[Any]


class Reason(NamedTuple):
    """Something that the analysis met, or a check that failed."""

    code: str  # the same from version to version
    text: str  # a part of a line
    sentence: str


class Measurement(NamedTuple):
    """A number, or some, in Correction.evidence."""

    label: str
    unit: str
    text: str  # what it tells
    numbers: int  # how many: 1; 3: red, green, blue; 2: red, blue


def analyse(
    scan: Array,
    kind: str,
    *,
    gamma: Optional[float] = None,
    icc: Optional[bytes] = None,
    output_gamma: Optional[float] = None,
    analysis: Optional[str] = None,
    level: int = 4,
    backlight: int = 0,
    brightness: int = 0,
    contrast: int = 0,
    balance: Sequence[int] = (0, 0, 0),
    area: Optional[Sequence[int]] = None,
    matrix: Optional[Sequence[float]] = None,
    plain: bool = False,
    even: bool = True,
) -> Correction:
    """Finds the correction of a scan; the scan stays as it is.

    kind          a Kind, or its name. A scan does not tell it: "auto" is refused.
    gamma         of the scan's values, 0.5 to 5, in tenths; 1.0 for raw linear scans. None: as icc tells.
    icc           the scan's ICC profile, of which the gamma is taken. None, or a profile that tells none: sRGB.
    output_gamma  of the result's values. None: as the scan's, so that its profile stays right.
    analysis      "adaptive" or "standard". None: as is best for the kind.
    level         strength of the correction, 0 to 9.
    backlight     lifts a dark subject before a bright background; eighths, 0: off, 4 is usual.
    brightness    density steps of 0.003, -1000 to 1000: 100 is one stop lighter.
    contrast      percent, -99 to 99.
    balance       brightness of red, green and blue, added.
    area          what is analysed: left, top, width, height in pixels. None: all of the scan.
    matrix        nine numbers, row by row: the colour matrix of a negative's film. None: the usual one.
    plain         the plainer handling of shadows.
    even          pages are evened by their paper; otherwise tables alone.

    ValueError says what is wrong with a value or the scan's shape, TypeError with its type.
    """
    settings = Settings(
        kind,
        gamma=gamma,
        icc=icc,
        output_gamma=output_gamma,
        analysis=analysis,
        level=level,
        backlight=backlight,
        brightness=brightness,
        contrast=contrast,
        balance=balance,
        area=area,
        matrix=matrix,
        plain=plain,
        even=even,
    )
    return settings.analyse(scan)


def apply(
    correction: Correction,
    scan: Array,
    *,
    out: Optional[Array] = None,
    saturation: bool = True,
    at: Sequence[int] = (0, 0),
) -> Array:
    """Sends pixels through a correction: the scan's, another's, or a piece of them. Returns the result.

    scan        8 or 16 bits, whatever the depth of the scan that was analysed.
    out         array that takes the result, of the same shape and type; `scan` itself: in place, without a copy.
    saturation  whether the change of saturation that the analysis proposed is made.
    at          for a piece of a page that is evened: where its first pixel lies in the scan, x and y.
    """
    return correction._apply(scan, out, saturation, at)


def correct(scan: Array, kind: str, *, out: Optional[Array] = None, saturation: bool = True, **options: Any) -> Array:
    """Finishes a scan: analyse() and apply(), whose options it takes. Returns the result; the scan stays as it is."""
    return apply(analyse(scan, kind, **options), scan, out=out, saturation=saturation)


def tables(correction: Correction, bits: int = 8) -> Array:
    """The tables of a correction, red, green, blue, from the scan's values to the result's.

    uint8 (3, 256) for 8 bits, uint16 (3, 65536) for 16. They hold neither the change of saturation nor the paper of a
    page.
    """
    return correction._tables(bits)


class Roll:
    """Frames of one film, or faded prints or slides of one box, finished together.

    observe() each scan, solve() once, then finish() or analyse() each. All must come from one setting of the scanner.
    The options are those of analyse().
    """

    def __init__(self, kind: str, **options: Any) -> None:
        self.settings = Settings(kind, **options)
        self.observations: list[Observation] = []
        self.shared: Optional[Shared] = None  # None: not solved, or too few belong together

    def observe(self, scan: Array) -> Observation:
        """Writes down what a scan says of the roll. By any number of threads, in any order: the result is the same."""
        seen = self.settings.observe(scan)
        self.observations.append(seen)
        return seen

    def solve(self) -> list[Member]:
        """Estimates what the scans share: for each observation whether it belongs.

        Where too few belong to say anything (2 colour negatives, 4 others), all are Member.SINGLE: each is then analysed
        by itself.
        """
        self.shared, members = _core.solve(self.observations)
        if self.shared is None:
            return [Member.SINGLE] * len(members)
        return [_MEMBERS[member] for member in members]

    def analyse(self, scan: Array) -> Correction:
        """Finds the correction of a scan with what it shares with the others."""
        return self.settings.analyse(scan, self.shared, in_roll=True)

    def finish(self, scan: Array, *, out: Optional[Array] = None, saturation: bool = True) -> Array:
        """analyse() and apply()."""
        return apply(self.analyse(scan), scan, out=out, saturation=saturation)


_MEMBERS = {1: Member.SHARED, 0: Member.BLANK, -1: Member.ODD}  # of the library
