"""Synthetic image to histograms and statistics: the first step of the second computation of an analysis."""
from math import atan, cos, sin, sqrt
from types import SimpleNamespace

from numeric import trunc32


def area_test(p, margin=5):
    """Membership test of the analysis area with corners left, top, right, bottom; None when it is refused."""
    (x0, y0), (x1, y1), (x2, y2), (x3, y3) = p
    if not (x0 <= x1 <= x2 and x0 <= x3 <= x2 and y1 <= y0 <= y3 and y1 <= y2 <= y3):
        return None
    if (p[0] == p[1]) != (p[2] == p[3]):
        return None
    if p[0] == p[1]:
        w, h = x2 - x0, y3 - y1
        dx, dy = (int(w * margin / 200.0), int(margin * h / 200.0)) if w * h >= 40 else (0, 0)
        return lambda x, y: x0 + dx <= x <= x2 - dx and y1 + dy <= y <= y3 - dy
    if x1 == x2:
        return None
    angle = atan((y2 - y1) / (x2 - x1))
    c, s = cos(angle), sin(angle)
    (u0, w0), (u1, w1), (u2, w2), (u3, w3) = [(c * x + s * y, c * y - s * x) for x, y in p]
    if u2 - u1 < 0 or w0 - w1 < 0:
        return None
    du, dw = (u2 - u1) * margin / 200, margin * (w0 - w1) / 200
    q = [(trunc32(c * u - s * w + 0.5, "area"), trunc32(s * u + c * w + 0.5, "area")) for u, w in
         ((u0 + du, w0 - dw), (u1 + du, w1 + dw), (u2 - du, w2 + dw), (u3 - du, w3 - dw))]
    lines = []
    for a, b in ((q[0], q[1]), (q[1], q[2]), (q[3], q[2]), (q[0], q[3])):
        if a[0] == b[0]:
            return None
        slope = (b[1] - a[1]) / (b[0] - a[0])
        lines.append((slope, a[1] - slope * a[0]))
    return lambda x, y: (all(not y < m * x + n for m, n in lines[:2])
                         and all(not y > m * x + n for m, n in lines[2:]))


def histograms(doc_type, im):
    """Channel histograms, histogram of R+G+B and sample count of the synthetic image; None when refused."""
    inside = area_test(im.corners)
    if inside is None:
        return None

    def level(c, x, y):
        noise = ((y * im.w + x) * 3 + c + 1) * 2654435761 + im.seed * 40503 & 0xffffffff
        lo, hi = im.range[2 * c], im.range[2 * c + 1]
        return lo + (hi - lo) * ((x * 255 // (im.w - 1) + (noise >> 24)) // 2) // 255

    xs, xe = max(0, im.corners[0][0]), min(im.w, im.corners[2][0])
    ys, ye = max(0, im.corners[1][1]), min(im.h, im.corners[3][1])
    starts = [(x, y) for y in range(ys, ye) for x in range(xs, xe) if inside(x, y)]
    q = len(starts) / (10000 if doc_type in (0, 3) else 30000)
    bh = bw = 1
    if q > 2:                                 # means of bh x bw blocks keep the sample count near the target
        bh = int(sqrt(q))
        bw = max(1, int(q / bh))
        starts = [(x, y) for y in range(ys, ye - bh, bh) for x in range(xs, xe - bw, bw) if inside(x, y)]
    hist, sums = [[0] * 256 for _ in range(3)], [0] * 768
    for x, y in starts:
        rgb = [int(sum(level(c, i, j) for j in range(y, y + bh) for i in range(x, x + bw)) / (bh * bw) + 0.5)
               for c in range(3)]
        for c in range(3):
            hist[c][rgb[c]] += 1
        sums[rgb[0] + rgb[1] + rgb[2]] += 1
    return (hist, sums, len(starts)) if starts else None


def detect_min(h, n, lo, hi, ratio):
    """Level below which the fraction `ratio` lies; the bin at hi is never examined, 0.0 means not found."""
    i, cum = lo, h[lo]
    while cum / n <= ratio:
        i += 1
        if i == hi:
            return 0.0
        cum += h[i]
    prev = (cum - h[i]) / n
    return max(float(lo), (i - 1) + (ratio - prev) / (cum / n - prev))


def detect_max(h, n, lo, hi, ratio):
    i, cum = hi, h[hi]
    while cum / n <= ratio:
        i -= 1
        if i < lo:
            return 0.0
        cum += h[i]
    prev = (cum - h[i]) / n
    return min(float(hi), (i + 1) - (ratio - prev) / (cum / n - prev))


def statistics(doc_type, hist, sums, n):
    """Levels at the 0.1, 0.5 and 5 % fractions, range and slopes; None when the levels are unusable."""
    if doc_type not in (0, 1, 2, 3):
        return None
    low = {0: (16, 12, 8), 1: (1, 1, 1), 2: (1, 1, 1), 3: (4, 4, 4)}[doc_type]
    high = 255 if doc_type == 2 else 241
    used = [sum(hist[c][low[c]:high + 1]) for c in range(3)]
    if not 3 - used[0] / n - used[1] / n - used[2] / n <= 0.3:
        return None
    rows = [(hist[c], low[c], high) for c in range(3)] + ([(sums, 3, 3 * high)] if doc_type in (1, 2) else [])
    mins = [[detect_min(h, n, lo, hi, r) for h, lo, hi in rows] + [0.0] for r in (0.001, 0.005, 0.05)]
    maxs = [[detect_max(h, n, lo, hi, r) for h, lo, hi in rows] + [0.0] for r in (0.001, 0.005, 0.05)]
    if doc_type == 2 and any(mins[k][c] == 0.0 for k in range(3) for c in range(3)):
        return None
    for c in range(len(rows)):                # neighbouring fractions stay at least 0.1 level apart
        for k in (1, 2):
            mins[k][c] = max(mins[k][c], mins[k - 1][c] + 0.1)
            maxs[k][c] = min(maxs[k][c], maxs[k - 1][c] - 0.1)
    share = (1 - 0.005) - (1 - 0.05)
    slopes = [abs(share * n / (maxs[1][c] - maxs[2][c]) / 100) for c in range(3)]
    return SimpleNamespace(max0=maxs[0], max1=maxs[1], max2=maxs[2], min1=mins[1], slopes=slopes, hist=hist,
                           range3=maxs[1][3] - mins[1][3])
