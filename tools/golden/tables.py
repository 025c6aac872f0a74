"""Record to tables, gray balance, pipette gamma and matrix conversion: the table half."""
from math import log10, pow

from numeric import GM, HI, HO, SI, SO, bent, density, fit, offset, trunc32


def from_display(rec, point):
    """Levels of one channel on the linear 8-bit scale and its gamma; inputs of negatives are inverted."""
    e, levels = rec.screen / 10 / 1.8, []
    for field in (HI, SI, HO, SO):
        x = point[field] / 257
        x = 255 - x if rec.negative and field in (HI, SI) else x
        levels.append(max(0.1, 255 * pow(x / 255, e)))
    return levels + [point[GM] / 100]


def table_defaults(rec):
    """Points (8-bit scale, gamma) and curve types that stand in for an unset channel."""
    if rec.negative:
        return [30.0, 200.0, 200.0, 10.0, 1.5], [2, 5]
    if rec.sub not in (1, 3, 4):
        return [245.0, 10.0, 245.0, 10.0, 1.0], [1, 4]
    if rec.sub != 3 and rec.option == 1:
        return [230.0, 9.0, 255.0, 10.0, 1.0], [1, 4]
    return [230.0, 35.0, 255.0, 10.0, 1.07], [1, 4 if rec.sub == 3 else 5]


def gains(rec):
    if rec.matrix is None:
        return [1.0, 1.0, 1.0]
    diagonal = [rec.matrix[0], rec.matrix[4], rec.matrix[8]]
    return [0.807, 0.97, 1.009] if all(int(d * 10000 + 0.5) == 10000 for d in diagonal) else diagonal


def moved_points(rec):
    """Decoded points after brightness, colour balance and contrast; an unset channel has the defaults."""
    result = []
    for c, point in enumerate(rec.points):
        if -1 in point:
            result.append(table_defaults(rec)[0])
            continue
        p = from_display(rec, point)
        unit = 0.003 * gains(rec)[c] if rec.type == 0 else 0.003
        s = (rec.user[0] + rec.user[2 + c]) * unit
        for f in (HI, SI):
            p[f] = max(0.1, 255 * pow(10, (log10(pow(p[f] / 255, 1.8)) + (s if rec.negative else -s)) / 1.8))
        k = min(99, max(-99, rec.user[1]))
        ends = (HI, SI) if k > 0 else (HO, SO)
        middle = density((p[ends[0]] + p[ends[1]]) * 0.5)
        for f in ends if k else ():
            d = density(p[f])
            d = d - (d - middle) * k / 100 if k > 0 else (d - middle) * k / 100 + d
            p[f] = 255 * pow(10, -d * 0.5555555555555556)
        result.append(p)
    return result


def write_back(rec):
    levels, curves = table_defaults(rec)
    e = 1.8 / (rec.screen / 10)
    for point in rec.points:
        if -1 in point:
            for f in (HI, SI, HO, SO):
                y = pow(levels[f] / 255, e)
                inverted = rec.negative and f in (HI, SI)
                value = 257 * (255 - 255 * y) if inverted else y * 255 * 257 if rec.negative else y * 65535
                point[f] = trunc32(value, None if e == 1.0 else "points")
            point[GM] = {1.5: 150, 1.0: 100, 1.07: 107}[levels[GM]]
            rec.curves = curves[:]


def shape_highlight(rec, curve, xs, pivot, hl_out, g, a, b):
    k = 8.0 if rec.negative else 2.0
    if rec.curves[0] == 2:
        end = pivot
        if pivot - a >= 0.1:
            end = (255 - hl_out) * k / ((b / g) * pow(pivot - a, 1 / g - 1)) + pivot
    for i, x in enumerate(xs):
        if x > pivot and rec.curves[0] == 0:
            curve[i] = min(255.0, curve[i] + pow(x - pivot, 3))
        elif x > pivot and rec.curves[0] == 2 and x != end:
            curve[i] = 255 - (255 - hl_out) * pow((end - x) / (end - pivot), k) if x < end else 255.0


def shape_shadow(rec, curve, xs, pivot, sd_out, g, a, b):
    if rec.curves[1] == 5:
        if pivot - a < 0.1:
            return
        foot = pivot - 2 * sd_out / ((b / g) * pow(pivot - a, 1 / g - 1))
    for i, x in enumerate(xs):
        if x < pivot and rec.curves[1] == 3:
            curve[i] -= pow(pivot - x, 3)
            if x == 0:
                curve[i] -= pow(pivot - 0.1, 3)
            curve[i] = max(0.0, curve[i])
        elif x < pivot and rec.curves[1] == 5:
            y = ((0.1 if x == 0 else x) - foot) / (pivot - foot)
            curve[i] = sd_out * (y * y) if x > foot else 0.0


def spline_table(points):
    """256 entries of the natural cubic spline through the control points, flat outside them."""
    x, y, n = points[0::2], points[1::2], len(points) // 2
    y2, u = [0.0] * n, [0.0] * n
    for i in range(1, n - 1):
        sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i - 1])
        p = sig * y2[i - 1] + 2
        bend = (y[i + 1] - y[i]) / (x[i + 1] - x[i]) - (y[i] - y[i - 1]) / (x[i] - x[i - 1])
        y2[i], u[i] = (sig - 1) / p, (6 * bend / (x[i + 1] - x[i - 1]) - sig * u[i - 1]) / p
    y2[n - 1] = 0.0
    for k in range(n - 2, -1, -1):
        y2[k] = y2[k] * y2[k + 1] + u[k]
    table = []
    for v in range(256):
        lo, hi = 0, n - 1
        while hi - lo > 1:
            k = (hi + lo) // 2
            lo, hi = (lo, k) if x[k] > v else (k, hi)
        h = x[hi] - x[lo]
        a, b = (x[hi] - v) / h, (v - x[lo]) / h
        value = a * y[lo] + b * y[hi] + ((a * a * a - a) * y2[lo] + (b * b * b - b) * y2[hi]) * (h * h) / 6
        table.append(y[0] if v < x[0] else y[-1] if v > x[-1] else min(255.0, max(0.0, value)))
    return table


def through(table, v):
    n = int(v)
    return table[255] if n > 254 else table[n] + (v - n) * (table[n + 1] - table[n])


def make_tables(rec):
    points, e, result = moved_points(rec), 1.8 / (rec.screen / 10), []
    write_back(rec)
    neg = rec.negative
    rec.curves = [{6: 2 if neg else 1}.get(rec.curves[0], rec.curves[0]),
                  {7: 5 if neg else 4}.get(rec.curves[1], rec.curves[1])]
    for c, (hi, si, ho, so, g) in enumerate(points):
        lower, upper = (hi, si) if neg else (si, hi)
        a, b = fit(lower, upper, so, ho, g, True)
        xs = [si * hi / max(0.1, i) if neg else i for i in range(256)]
        curve = [bent(x if neg or x else 0.1, a, b, g) for x in xs]
        shape_highlight(rec, curve, xs, upper, ho, g, a, b)
        shape_shadow(rec, curve, xs, lower, so, g, a, b)
        curve = [255 * pow(y / 255, e) for y in curve]
        for tone in (rec.tones[c + 1], rec.tones[0]):     # the channel's own curve comes before the master
            if tone:
                table = spline_table(tone)
                curve = [through(table, y) for y in curve]
        key = ("red", "green", "blue")[c]
        result.append([trunc32(y + 0.5, key) if y > 0 else trunc32(y - 0.5, key) for y in curve])
    rec.sat = 0
    return result


# ---- gray balance, pipette gamma, matrix conversion --------------------------------------------------------

def pipette_curve(rec, p, g):
    lo, hi = (p[HI], p[SI]) if rec.negative else (p[SI], p[HI])
    a = offset(lo, hi, p[SO], p[HO], g)
    return a, 0.0 if a > hi else p[HO] / pow(hi - a, 1 / g)


def gray_balance(rec, rgb, intensity):
    e, back = rec.screen / 10 / 1.8, 1.8 / (rec.screen / 10)
    points, picked, outs, curves = [from_display(rec, p) for p in rec.points], [], [], []

    def d(v):
        return log10(pow(v / 255, 1.8))

    for c, p in enumerate(points):
        a, b = pipette_curve(rec, p, p[GM])
        v = max(0.1, rgb[c])
        level = 255 * pow((255 - v if rec.negative else v) / 255, e)
        x = max(0.1, level)
        picked.append(x)
        at = p[SI] * p[HI] / x if rec.negative else x
        blind = at <= a or not rec.negative and level < 0.1 and a >= level
        out = 0.0 if blind else b * pow(max(0.1, at) - a, 1 / p[GM])
        outs.append(min(255.0, out) if rec.negative else out)
        curves.append((a, b))
    target = (outs[0] + 3 * outs[1] + outs[2]) / 5
    for c, p in enumerate(points):
        a, b = curves[c]
        t = a + pow(target / b, p[GM])
        if rec.negative:
            t = 255 * pow(10, (d(p[SI]) - d(max(0.1, t)) + d(p[HI])) / 1.8)
        shift = -(d(picked[c]) - d(t)) * intensity / 100
        h = max(0.1, 255 * pow(10, (d(p[HI]) - shift) / 1.8))
        s = min(255.0, max(0.1, 255 * pow(10, (d(p[SI]) - shift) / 1.8)))
        if rec.negative:
            rec.points[c][HI] = trunc32(257 * (255 - 255 * pow(h / 255, back)), "points")
            rec.points[c][SI] = trunc32(257 * (255 - 255 * pow(s / 255, back)), "points")
            continue
        if h > 255:                           # the input stops at full scale, the output comes down instead
            a, b = pipette_curve(rec, [h, s] + p[HO:], p[GM])
            rec.points[c][HO] = trunc32(257 * b * pow(255 - a, 1 / p[GM]), "points")
            h = 255.0
        rec.points[c][HI] = trunc32(257 * (255 * pow(h / 255, back)), "points")
        rec.points[c][SI] = trunc32(pow(s / 255, back) * 255 * 257, "points")


def pipette_gamma(rec, rgb):
    e, points = rec.screen / 10 / 1.8, [from_display(rec, p) for p in rec.points]
    xs, gammas = [], [p[GM] for p in points]

    def output(c):
        a, b = pipette_curve(rec, points[c], gammas[c])
        out = 0.0 if a >= xs[c] else b * pow(xs[c] - a, 1 / gammas[c])
        return min(255.0, out) if rec.negative else out

    def ratio(c, v):
        return log10((v - points[c][SO]) / (points[c][HO] - points[c][SO]))

    for c, p in enumerate(points):
        x = max(0.1, 255 * pow((255 - rgb[c] if rec.negative else rgb[c]) / 255, e))
        lo, hi = (p[HI], p[SI]) if rec.negative else (p[SI], p[HI])
        if lo >= x or x >= hi:
            return
        xs.append(p[HI] * p[SI] / x if rec.negative else x)
    outs = [output(c) for c in range(3)]
    target = (outs[0] + 3 * outs[1] + outs[2]) / 5
    if any(outs[c] <= points[c][SO] or points[c][SO] >= target for c in range(3)):
        return
    gammas = [gammas[c] * ratio(c, outs[c]) / ratio(c, target) for c in range(3)]
    for _ in range(3):
        outs = [output(c) for c in range(3)]
        if any(points[c][SO] >= outs[c] for c in range(3)):
            return
        gammas = [max(0.1, gammas[c] * ratio(c, outs[c]) / ratio(c, target)) for c in range(3)]
    for c in range(3):
        rec.points[c][GM] = trunc32((gammas[c] + 0.005) * 100, "points")


def convert_matrix(rec):
    slopes = [1.0, 1.0, 1.0]
    for c, p in enumerate(moved_points(rec) if rec.type != 3 else ()):
        hi, si, ho, so = [255 * pow(level / 255, 1.8) for level in p[:GM]]
        slopes[c] = (ho - so) / ((pow(si / hi, 1 / gains(rec)[c]) - 1) * hi if rec.type == 0 else hi - si)
    r, g, b = [min(slopes) / s for s in slopes]
    m = rec.matrix
    n = [0.0, m[1] * r * g, m[2] * r * b, m[3] * r * g, 0.0, m[5] * g * b, m[6] * r * b, m[7] * g * b, 0.0]
    n[0], n[4], n[8] = 1 - n[1] - n[2], 1 - n[3] - n[5], 1 - n[6] - n[7]
    return n
