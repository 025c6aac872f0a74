"""Statistics to proposed points of colour negatives and faded negatives.
The ends of a channel's range are log10 of film levels: the clear end is film base, the dense end the scene's
whites. Exposures are log10; a density is 1.8 times a distance of levels, because levels are light to 1 / 1.8."""
from math import exp, hypot, isfinite, log, log10, log1p, pow
from types import SimpleNamespace

from calculators import level_tone, mirrored_outputs
from numeric import store16, total, trunc32

CONTRAST = (0.807, 0.97, 1.009)               # density contrast of the channels, film as it is

COLOR = SimpleNamespace(
    low=(16, 12, 8), default=0.65, slopes=(0.61, 0.59, 0.64), toe=0.3, neutral=(-0.11, 0.0, 0.08), trust=0.45,
    red=0.3, shade=0.3, lamp=0.3, share=0.7, limit=0.12, sure=0.0, print=0.96, white=0.04, mean=0.09, flare=0.004)
FADED = SimpleNamespace(
    low=(16, 12, 8), default=0.58, slopes=(0.5, 0.59, 0.72), toe=0.3, neutral=(-0.085, 0.0, 0.075), trust=0.72,
    red=0.25, shade=0.2, lamp=0.0, share=1.0, limit=0.58, sure=1.0, print=1.21, white=-0.01, mean=0.06, flare=0.002,
    usual=1.86, unusual=0.29, usual_white=1.6, pull=0.136)
MONO = SimpleNamespace(
    low=(4, 4, 4), default=0.58, toe=0.23, print=1.1, white=0.06, mean=-0.04, flare=0.01,
    usual=1.57, unusual=0.6, usual_white=2.1, pull=0.1)


def lg(level):
    return log10(max(level, 0.1))


def clamp(v, lo, hi):
    return min(hi, max(lo, v))


def down(x, lo, hi):
    return 1.0 if x <= lo else 0.0 if x >= hi else (hi - x) / (hi - lo)


def up(x, lo, hi):
    return 0.0 if x <= lo else 1.0 if x >= hi else (x - lo) / (hi - lo)


# ---- judgements and checks --------------------------------------------------------------------------------

def exposure_over(ref, val):
    weights = [down(v - r, 0.02, 0.05) * down(r, 1.3, 1.45) for r, v in zip(ref, val)]
    return (weights[0] + weights[1] + weights[2]) / 3, weights


def exposure_under(a, b, dense):
    """The cap at 1.3 times the largest weight is out of reach and left out."""
    weights = [down(a[c] - b[c], 0.012, 0.03) * up(a[c], 2.0, 2.15) for c in range(3)]
    width = [a[c] - dense[c] for c in range(3)]
    least = min(width)
    lead = max(weights[c] for c in range(3) if width[c] == least)
    for c in range(3):
        if weights[c] > lead:
            if 0.6 * width[c] > least:
                weights[c] = lead
            else:
                weights[c] = ((least / width[c] if width[c] else 0.0) + 1 - 0.6) * lead
    return (weights[0] + weights[1] + weights[2]) / 3, weights


def balance_ranges(lower, upper, over, under):
    r = [upper[c] - lower[c] for c in range(3)]
    penalty = [0.4 * under[c] + 0.33 * over[c] for c in range(3)]
    for c, other, share in ((1, 0, 0.81), (2, 1, 0.81), (2, 0, 0.73), (1, 2, 0.66), (0, 1, 0.66), (0, 2, 0.59)):
        r[c] = max(r[c], (share - penalty[c]) * r[other])
    return [upper[c] - r[c] for c in range(3)]


def widen_narrow(lower, upper, mid, below, cut_a, cut_b, upper_share):
    r = [upper[c] - lower[c] for c in range(3)]
    mean = (r[0] + r[1] + r[2]) / 3
    full = 0.475 - 0.1 * cut_a - 0.2 * cut_b
    knee = full - 0.1
    target = full - 0.05 if knee > mean else mean if mean > full else full - 0.05 + (mean - knee) ** 2 * 5.0
    excess = target - mean
    w = 0.0 if excess < 0.0 else 1.0 if excess > 0.2 else excess / 0.2
    more = [max(r[c], target * r[c] / mean * (1 - w) + target * w) - r[c] for c in range(3)]
    common, least = min(more), (below[0] + below[1] + below[2]) / 3
    lower, upper = lower[:], upper[:]
    for c in range(3):
        own = more[c] - common
        lower[c] -= own * (1 - upper_share)
        upper[c] += own * upper_share
        f = max((mid[c] - lower[c]) / (upper[c] - lower[c]), least)
        upper[c] += (1 - f) * common
        lower[c] -= f * common
    return lower, upper


def compress_wide(lower, upper, least, neutral, balanced, own, over, under, dark, reference):
    r = [upper[c] - lower[c] for c in range(3)]
    mean = (r[0] + r[1] + r[2]) / 3
    target = mean if mean < 0.55 else 0.75 if mean > 0.95 else 0.75 - (0.95 - mean) ** 2 * 1.25
    scaled = [target * v / mean for v in r]
    spread = max(scaled) - min(scaled)
    by_spread = 0.0 if spread < 0.05 else (spread - 0.05) / (0.3 - 0.05)
    by_range = 0.0 if mean < 0.5 else (mean - 0.5) / (1.0 - 0.5)
    g = (max(least, by_spread * by_range) * (1 - over) * (1 - under) * (1 - 0.5 * dark) * (1 - neutral)
         * (1 - balanced * 0.5))
    w = min(0.4, 0.0 if g < 0.05 else g - 0.05)
    n = [scaled[c] * (1 - w) + target * w for c in range(3)]
    n = [n[c] if r[c] > n[c] else n[c] * (1 - own[c]) + own[c] * scaled[c] for c in range(3)]
    lower = [upper[c] - n[c] for c in range(3)]
    above = [lower[c] - reference[c] for c in range(3)]
    width = (n[0] + n[1] + n[2]) / 3
    allowed, top = dark * 0.06 * width, max(above)
    apart = top - min(above)
    amount = allowed if top < 0 else max(0.0, allowed - top)
    lift = (1 - apart / 0.12 if apart <= 0.12 else 0.0) * amount
    return [lower[c] + lift * n[c] / width for c in range(3)]


def contrasts(matrix):
    """Density contrasts over their mean, as the diagonal of a colour matrix tells them."""
    gains = matrix[0::4]
    if not all(map(isfinite, gains)) or sum(gains) <= 0:
        return [1.0] * 3
    if all(trunc32(g * 10000 + 0.5) == 10000 for g in gains):
        gains = CONTRAST
    mean = (gains[0] + gains[1] + gains[2]) / 3
    return [clamp(g / mean, 0.7, 1.4) for g in gains]


def ends(st, t, least):
    """Clear, black and dense ends; what lies below the lowest level counted was not found."""
    clear, black, dense = [], [], []
    for c in range(3):
        clear.append(lg(st.max0[c] if st.max0[c] >= t.low[c] else 241))
        black.append(min(clear[c], lg(st.max1[c])) if st.max0[c] >= t.low[c] else clear[c])
        found = st.min0[c] >= t.low[c] and st.min1[c] >= t.low[c]
        dense.append((lg(st.min0[c]) + lg(st.min1[c])) / 2 if found else clear[c] - t.default)
        dense[c] = min(dense[c], clear[c] - least)
    return clear, black, dense


def checked(st, k, clear, dense, contrast):
    """The ends after the judgements and checks."""
    mean = [clamp(lg(st.ave[c]), dense[c] + 0.02, clear[c] - 0.02) for c in range(3)]
    over, overs = exposure_over([lg(v) for v in st.min0], [lg(v) for v in st.min1])
    under, unders = exposure_under(clear, [lg(v) for v in st.max1], dense)
    dense = balance_ranges(dense, clear, overs, unders)
    lower = [clear[c] - (clear[c] - dense[c]) / contrast[c] for c in range(3)]
    mid = [clear[c] - (clear[c] - mean[c]) / contrast[c] for c in range(3)]
    below = [0.5 + 0.5 * v for v in unders]
    lower, upper = widen_narrow(lower, clear, mid, below, over, under, 0.3 * (1 - under))
    place = [(upper[c] - mid[c]) / (upper[c] - lower[c]) for c in range(3)]
    tint = max(abs(lg(st.nega1[c]) - lg(st.min1[c])) for c in range(3))
    dark = down((place[0] + place[1] + place[2]) / 3, 0.15, 0.35)
    wide = compress_wide(lower, upper, min(1.0, k * 0.1), down(tint, 0.005, 0.03),
                         down(max(place) - min(place), 0.05, 0.2), [max(p) for p in zip(overs, unders)], over, under,
                         dark, [v - 0.65 for v in upper])
    lower = [lower[c] + (wide[c] - lower[c]) * 0.25 for c in range(3)]
    top = [min(clear[c] + (upper[c] - clear[c]) * contrast[c], log10(255)) for c in range(3)]
    return top, [top[c] - max(0.1, (upper[c] - lower[c]) * contrast[c]) for c in range(3)]


# ---- film, whites, print, curve ---------------------------------------------------------------------------

def exposed(n, slope, toe):
    """Log exposure that gave a layer the density n above its base."""
    v = max(0.01, n) / (slope * toe)
    return toe * (v + log1p(-exp(-v)))        # ln(exp(v) - 1)


def whites(t, n, slopes):
    """Slopes after the whites are judged, and the balance of the print."""
    def seen():
        x = [exposed(n[c], slopes[c], t.toe) for c in range(3)]
        return [x[c] - x[1] - t.neutral[c] for c in range(3)]

    red, _, blue = seen()
    red = red if red > 0 else min(0.0, red + t.red)
    lamp = (0.22 / 0.380, -0.31 / 0.380)
    along = red * lamp[0] + blue * lamp[1]
    across = hypot(red - along * lamp[0], blue - along * lamp[1])
    along = max(0.0, along - t.lamp) if along > 0 else min(0.0, along + t.shade)
    belief = 1 / (1 + pow(hypot(along, across) / t.trust, 4))
    part = [log(max(0.01, n[c]) / slopes[c]) for c in range(3)]
    sure = t.sure + (1 - t.sure) * belief
    slopes = [slopes[c] * exp(clamp(t.share * (part[c] - part[1]), -t.limit, t.limit) * sure) for c in range(3)]
    deviation = seen()
    return slopes, [t.neutral[c] + belief * deviation[c] for c in range(3)]


def printed(st, t, k, clear, black, dense, slopes, balance):
    """The output 0..255 that a channel prints at a log level, and the level that prints an output."""
    def x(c, v):
        return exposed(1.8 * (clear[c] - v), slopes[c], t.toe) - balance[c]

    top, low = max(x(c, dense[c]) for c in range(3)), max(x(c, black[c]) for c in range(3))
    samples = [(st.hist[c][i], x(c, lg(i))) for c in range(3) for i in range(256) if st.hist[c][i]]
    count = sum(n for n, _ in samples)
    mean = total(n * v for n, v in samples) / count if count else top - 0.9
    contrast, white = t.print - 0.03 * k, top + t.white + 0.01 * k + t.mean * (mean - top + 0.9)
    if t is not COLOR:
        contrast *= clamp(pow(t.usual / max(0.05, top - low), t.unusual), 0.7, 2.0)
        white -= t.pull * clamp(top - t.usual_white, -1.0, 1.0)

    def output(c, v):
        power = contrast * (x(c, v) - white)
        return 255 * pow(clamp((pow(10, min(0.0, power)) - t.flare) / (1 - t.flare), 0.0, 1.0), 1 / 1.8)

    def level(c, out):
        power = log10(pow(out / 255, 1.8) * (1 - t.flare) + t.flare)
        n = slopes[c] * t.toe * log1p(exp((power / contrast + white + balance[c]) / t.toe))
        return pow(10, clear[c] - n / 1.8)
    return output, level


def curve(samples):
    """Scale, offset and gamma of out^gamma = scale / level - offset for (weight, level, output 0..1)."""
    samples = [(w, 1 / level, out) for w, level, out in samples]

    def line(gamma):
        rows = [(w * pow(out, 2 * (1.8 / 2.2 - gamma)), x, pow(out, gamma)) for w, x, out in samples]
        weight = total(w for w, _, _ in rows)
        mx, my = total(w * x for w, x, _ in rows) / weight, total(w * y for w, _, y in rows) / weight
        scale = total(w * (x - mx) * (y - my) for w, x, y in rows) / total(w * (x - mx) ** 2 for w, x, _ in rows)
        error = total(w * (y - my - scale * (x - mx)) ** 2 for w, x, y in rows)
        return error / (gamma * gamma), scale, scale * mx - my

    golden = (pow(5, 0.5) - 1) / 2
    lo, hi = log(0.3), log(2.2)
    for _ in range(12):
        left, right = hi - golden * (hi - lo), lo + golden * (hi - lo)
        if line(exp(left))[0] < line(exp(right))[0]:
            hi = right
        else:
            lo = left
    gamma = exp((lo + hi) / 2)
    return line(gamma)[1:] + (gamma,)


def develop(rec, st, t, k, clear, black, dense, slopes, balance):
    output, level = printed(st, t, k, clear, black, dense, slopes, balance)
    rec.points = []
    for c in range(3):
        levels = [(st.hist[c][i], max(0.1, i)) for i in range(256) if st.hist[c][i]]
        samples = [(n, v, output(c, log10(v))) for n, v in levels]
        samples = [(n, v, out) for n, v, out in samples if 4 < out < 248]
        samples += [(1, level(c, out), out) for out in (4 + (248 - 4) * i / 32 for i in range(33))]
        scale, offset, gamma = curve([(n, v, out / 255) for n, v, out in samples])
        # a curve that comes down to 10 beyond full scale, or not at all, ends there
        high, low = [scale / max(scale / 255, pow(out / 255, gamma) + offset) for out in (200.0, 10.0)]
        low = max(0.2, low)
        rec.points.append([store16(min(0.98 * low, high)), store16(low), 51400, 2570,
                           trunc32(100 * gamma + 0.5, "points")])
    rec.curves, rec.flag = [2, 5], int(rec.level > 4)
    if rec.flag:
        level_tone(rec, mirrored_outputs(rec), st.hist, 4.0, 0.05, 200.0)


def negative(rec, st):
    """False when the colour matrix of a colour negative is missing."""
    level = clamp(float(rec.level), 0.0, 1e6)
    k = max(0.0, 4.0 - level)
    t = MONO if rec.type == 3 else FADED if rec.sub == 2 else COLOR
    if t is COLOR and rec.matrix is None:
        return False
    clear, black, dense = ends(st, t, 0.05 if t is COLOR else log10(1.3))
    identity = contrasts([1.0, 0, 0, 0, 1.0, 0, 0, 0, 1.0])
    rec.sat = 0
    if t is COLOR:
        contrast = contrasts(rec.matrix)
        clear, dense = checked(st, k, clear, dense, contrast)
        slopes = [t.slopes[c] * contrast[c] / identity[c] for c in range(3)]
    ranges = [clear[c] - dense[c] for c in range(3)]
    n = [1.8 * v for v in ranges]
    if t is MONO:
        weights = [min(1.0, pow(10, v) / 60) ** 2 for v in clear]
        common = sum(w * v for w, v in zip(weights, n)) / sum(weights)
        slopes, balance = [0.4 * v / common for v in n], [0.0] * 3
        score = min(50.0, 80.0 * (1 - min(ranges) / max(ranges)))
        rec.sat = -trunc32(0.5 + score * min(level, 10.0) * 0.25, "saturation")
    else:
        slopes, balance = whites(t, n, slopes if t is COLOR else list(t.slopes))
    if t is FADED:
        widths = [ranges[c] / identity[c] for c in range(3)]
        lost = sorted(max(0.0, 0.58 / v - 1) for v in widths)
        score = min(50.0, 40.0 * (lost[1] + lost[2]) / 2 + 10.0 * (1 - min(widths) / max(widths)))
        rec.sat = trunc32(0.5 + score * min(level, 10.0) * 0.25, "saturation")
    develop(rec, st, t, k, clear, black, dense, slopes, balance)
    return True
