"""Arithmetic of the second computation: truncation with boundary marks, densities and power curves.
Every expression is evaluated left to right as its formula is written, because values are truncated to
integers and the order of the roundings decides on which side of a boundary they fall."""
from math import log10, pow

HI, SI, HO, SO, GM = range(5)                 # order of a channel's five point fields
edges = set()                                 # expected keys of the current case near a boundary


def trunc32(v, key=None):
    """Toward zero into 32 bits. `key` is given where a power or logarithm is behind v: mathematical libraries
    differ in its last bits, while the four operations are exact to the bit everywhere. The two ends of the
    16-bit scale come from powers of 0 and 1, which every library gives exactly."""
    if not -2147483649.0 < v < 2147483648.0:
        return -2147483648
    if v not in (0.0, 65535.0) and abs(v - round(v)) <= 1e-9 * max(1.0, abs(v)):
        edges.add(key)
    return int(v)


def total(values):
    """Plain left-to-right sum; the built-in one compensates rounding errors."""
    result = 0.0
    for v in values:
        result += v
    return result


def store16(x):
    return 25 if x < 0.1 else 65535 if x > 255 else trunc32(x * 257, "points")


def density(level):
    return -log10(pow(level / 255, 1.8))


def offset(lo, hi, lo_out, hi_out, g):
    r = pow(hi_out / lo_out, g)
    return (lo * r - hi) / (r - 1)


def fit(lo, hi, lo_out, hi_out, g, guard=False):
    """Offset a and scale b of out = b * (in - a)^(1/g) through (lo, lo_out) and (hi, hi_out)."""
    a = offset(lo, hi, lo_out, hi_out, g)
    return a, hi_out / pow(0.1 if guard and hi - a < 0.1 else hi - a, 1 / g)


def bent(x, a, b, g):
    return 0.0 if x <= a else min(255.0, b * pow(x - a, 1 / g))
